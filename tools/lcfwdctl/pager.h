/* tools/lcfwdctl/pager.h: long output for people goes through a pager, when there is a terminal to page on. */
#pragma once

/* Sends the standard output through $PAGER (default "less -FRX"), if it is a terminal and the output is text for people;
 * an empty PAGER, or "cat", means none. Without effect otherwise. */
void ctl_pager_begin();
/* Waits until the reader has left the pager. Always safe to call. */
void ctl_pager_end();
