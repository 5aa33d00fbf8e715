#include "tools/lcfwdctl/commands.h"
#include "tools/lcfwdctl/operator_session.h"

static std::string more_help() { return operator_help("debug"); }

const ctl_command ctl_command_debug = {"debug",
                                       "WORDS... [on|off|KEY]",
                                       "switches of the process: tracing, measuring, histories",
                                       "Turns a switch of the running process, until it ends; without on or "
                                       "off it tells how the switch stands.\n\n"
                                       "  --table ID       table of a prefix that is a history's key\n",
                                       operator_run,
                                       more_help};
