#include "tools/lcfwdctl/pager.h"

#include "tools/lcfwdctl/ctl.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

static FILE *pager;
static int terminal = -1; /* the standard output of before */

void ctl_pager_begin() {
    if (pager != nullptr || ctl.json || isatty(STDOUT_FILENO) == 0) return;
    const char *command = getenv("PAGER");
    if (command == nullptr) command = "less -FRX";
    if (*command == '\0' || strcmp(command, "cat") == 0) return;
    fflush(stdout);
    pager = popen(command, "w");
    if (pager == nullptr) return;
    terminal = dup(STDOUT_FILENO);
    dup2(fileno(pager), STDOUT_FILENO);
}

void ctl_pager_end() {
    if (pager == nullptr) return;
    fflush(stdout);
    dup2(terminal, STDOUT_FILENO); /* the pager reads to the end only when nobody holds its other side */
    close(terminal);
    pclose(pager);
    pager = nullptr;
}
