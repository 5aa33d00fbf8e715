/* tools/lcfwdctl/commands.h: the commands. Each stands in a file of its own name, with its usage line and help text
 * beside the code that they describe. */
#pragma once

#include "tools/lcfwdctl/ctl.h"

extern const ctl_command ctl_command_vdc;
extern const ctl_command ctl_command_load;
extern const ctl_command ctl_command_delete;
extern const ctl_command ctl_command_resolve;
extern const ctl_command ctl_command_unresolve;
extern const ctl_command ctl_command_repoint;
extern const ctl_command ctl_command_stale;
extern const ctl_command ctl_command_lookup;
extern const ctl_command ctl_command_verify;
extern const ctl_command ctl_command_probe;
extern const ctl_command ctl_command_status;
extern const ctl_command ctl_command_engine;
extern const ctl_command ctl_command_store;
extern const ctl_command ctl_command_send;
extern const ctl_command ctl_command_trace;
extern const ctl_command ctl_command_log;
extern const ctl_command ctl_command_interface;
extern const ctl_command ctl_command_mac;
extern const ctl_command ctl_command_tunnel;
extern const ctl_command ctl_command_clear;
extern const ctl_command ctl_command_aged;
extern const ctl_command ctl_command_stats;
extern const ctl_command ctl_command_check;
extern const ctl_command ctl_command_show;
extern const ctl_command ctl_command_debug;
extern const ctl_command ctl_command_complete;
