#include "platform/ufib_platform.h"

#include "core/ufib_funcstats.h"
#include "persist/lcfwd_pss.h"
#include "platform/platform_library.h"

ufib_platform_api ufib_platform_table;
ufib_platform_caps ufib_platform_sizes;

void ufib_platform_bind(bool restart) {
    ufib_platform_table = {};
    ufib_platform_sizes = {};
    ufib_platform_api_default_init(&ufib_platform_table);
    const platform_library *library = platform_library_get();
    if (library != nullptr)
        library->ufib_api_init(&ufib_platform_table, &ufib_platform_sizes, restart ? 1 : 0);
}

int ufib_platform_one_write_ready() {
    const int completed = ufib_platform_table.one_write_ready();
    if (completed != 0) lcfwd_pss_buf_commit();
    return completed;
}

/* The store may run full before any library is bound, or after it is gone: its records are written all the same. */
int ufib_platform_all_writes_ready() {
    const ufib_funcstats_block measure(UFIB_FS_HW_PSS_FLUSH);
    const int completed =
        ufib_platform_table.all_writes_ready == nullptr ? 0 : ufib_platform_table.all_writes_ready();
    lcfwd_pss_buf_commit();
    return completed;
}

bool ufib_platform_table_required(uint32_t vdc_id, uint32_t table_id, uint32_t route_flags) {
    const ufib_platform_table_request request = {vdc_id, table_id, route_flags};
    return ufib_platform_table.table_required(&request);
}

void ufib_platform_cli_show_command(cmd_handle *handle, uint32_t vdc_id, uint32_t command) {
    ufib_platform_table.cli_show_command(handle, vdc_id, command);
}
