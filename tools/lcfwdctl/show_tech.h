/* tools/lcfwdctl/show_tech.h: everything that an engineer wants to see of an instance, in one file. */
#pragma once

/* "show tech [FILE]": argv[0] is "show". An exit code; what cannot be had is noted in the file, and the rest goes on. */
[[nodiscard]] int ctl_show_tech(int argc, char **argv);
