/* tools/lcfwdctl/help.h: the help texts on the standard output. */
#pragma once

void ctl_help_all();                        /* the list of commands and the options of all */
void ctl_help_command(const char *command); /* one command, with its examples; unknown names print nothing */
