/* Switches of the process that debug commands set. */
#include "core/lcfwd_log.h"
#include "core/lcfwd_vdc.h"
#include "diag/show_value.h"
#include "diag/ufib_show_counters.h"
#include "host/command/command.h"
#include "persist/lcfwd_pss.h"

#include <cstdio>

/* Sets the switch when a value came, and tells its state. */
static void switch_serve(cmd_handle *handle, uint32_t vdc_id, const char *name, bool *state) {
    show_value asked;
    if (lcfwd_vdc_row(vdc_id) == nullptr || !show_get_value(handle, &asked)) return;
    if (asked.value > 1) {
        cmd_rep_send_nok(handle, 6, "bad attribute");
        return;
    }
    if (asked.given && *state != (asked.value != 0)) {
        *state = asked.value != 0;
        LCFWD_TRACE("%s is %s now", name, *state ? "on" : "off");
    }
    char format[64];
    std::snprintf(format, sizeof format, "%s is %%s\n", name);
    cmd_prt(handle, format, cmd_text(*state ? "on" : "off", name));
    cmd_prt_send(handle);
}

void ufib_switch_disable_tracing(cmd_handle *handle, uint32_t vdc_id) {
    switch_serve(handle, vdc_id, "ufib_disable_tracing", &ufib_disable_tracing);
}
void ufib_switch_enable_rc_debugs(cmd_handle *handle, uint32_t vdc_id) {
    switch_serve(handle, vdc_id, "ufib_enable_rc_debugs", &ufib_enable_rc_debugs);
}
void ufib_switch_update_funcstats(cmd_handle *handle, uint32_t vdc_id) {
    switch_serve(handle, vdc_id, "ufib_update_funcstats", &ufib_update_funcstats);
}
void ufib_switch_disable_funcstats_tr(cmd_handle *handle, uint32_t vdc_id) {
    switch_serve(handle, vdc_id, "ufib_disable_funcstats_tr", &ufib_disable_funcstats_tr);
}
void ufib_switch_disable_pss(cmd_handle *handle, uint32_t vdc_id) {
    switch_serve(handle, vdc_id, "ufib_disable_pss", &ufib_disable_pss);
}
