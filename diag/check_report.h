/* diag/check_report.h: rows of a check of model, records and engine: one for each thing that does not agree. One
 * thread. */
#pragma once

#include "diag/show_params.h"
#include "host/command/command.h"

#include <cstdint>

struct check_report {
    cmd_handle *handle;
    ufib_show_params *params; /* 'count' counts rows, 'value' objects */
    const char *object;       /* kind of the object that is being checked */
    uint32_t table;           /* 0: it lies in none */
    uint32_t rows;            /* about it */
    bool limit_reached;
    char name[96];
};

/* Begins the next object; 'name' is copied. */
void check_object_begin(check_report *report, const char *object, const char *name, uint32_t table = 0);

/* 'part' is "store" or "engine", whatever does not agree with the model. */
void check_wrong(check_report *report, const char *part, const char *problem, uint32_t model = 0,
                 uint32_t found = 0);
inline void check_same(check_report *report, const char *part, const char *field, uint32_t model,
                       uint32_t found) {
    if (model != found) check_wrong(report, part, field, model, found);
}

void check_report_heads(check_report *report);
void check_report_end(check_report *report); /* what was checked, and how much of it was wrong */
