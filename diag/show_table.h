/* diag/show_table.h: which function answers which command. Called once before start-up by the program, and again after a
 * teardown in tests. */
#pragma once

void diag_init(); /* gives the core's command dispatch its back-ends */
