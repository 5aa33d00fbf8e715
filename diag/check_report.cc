#include "diag/check_report.h"

#include <cstdio>

static constexpr char ROW[] = "%-6s  %-44s  %-6s  %-22s  %#-12x  %#-10x  %#x\n";
static constexpr char HEADS[] =
    "Object  Name                                          Part    Problem                 "
    "Table         Model       Found\n";

void check_object_begin(check_report *report, const char *object, const char *name, uint32_t table) {
    report->object = object;
    report->table = table;
    report->rows = 0;
    report->params->value++;
    std::snprintf(report->name, sizeof report->name, "%s", name);
}

void check_wrong(check_report *report, const char *part, const char *problem, uint32_t model,
                 uint32_t found) {
    if (report->limit_reached) return;
    cmd_prt_row_begin(report->handle);
    cmd_prt(report->handle, ROW, cmd_text(report->object, "object"), cmd_text(report->name, "name"),
            cmd_text(part, "part"), cmd_text(problem, "problem"), cmd_u32(report->table, "table"),
            cmd_u32(model, "model"), cmd_u32(found, "found"));
    cmd_prt_row_end(report->handle);
    report->rows++;
    report->limit_reached = ufib_show_limit_reached(report->params);
}

void check_report_heads(check_report *report) { cmd_prt_decoration(report->handle, HEADS); }

void check_report_end(check_report *report) {
    const uint32_t wrong = report->params->count;
    cmd_prt(report->handle,
            wrong == 0 ? "%u objects and records: all agree\n" : "%u objects and records, %u disagreements\n",
            cmd_u32(report->params->value, "checked"), cmd_u32(wrong, "wrong"));
}
