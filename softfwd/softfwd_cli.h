/* softfwd/softfwd_cli.h: the operators' commands that the engine serves itself. For softfwd/ only. */
#pragma once

#include <cstdint>

struct cmd_handle;

/* Slot of the table of operations. The bypass: with it on, every packet of a known table goes to the processor, while
 * the tables are written as ever; it outlives the process as they do. Other commands: 2 "unknown command". */
void softfwd_cli_show_command(cmd_handle *handle, uint32_t vdc_id, uint32_t command);
