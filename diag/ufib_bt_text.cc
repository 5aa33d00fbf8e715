#include "diag/ufib_bt_text.h"

#include "ufib/ufib_bintrace.h"
#include "ufib/ufib_object.h"

#include <cstdio>
#include <ctime>

static constexpr size_t TEXT_BYTES = 128;

static char *next_buffer() {
    static char buffers[4][TEXT_BYTES];
    static uint32_t used;
    return buffers[used++ % 4];
}

static const char *in_buffer(const char *text) {
    char *buffer = next_buffer();
    std::snprintf(buffer, TEXT_BYTES, "%s", text);
    return buffer;
}

const char *ufib_bt_v4_op_str(uint32_t operation) {
    switch (operation) {
    case UFIB_BT_CREATE: return in_buffer("Create");
    case UFIB_BT_UPDATE: return in_buffer("Update");
    case UFIB_BT_DESTROY: return in_buffer("Destroy");
    default: return in_buffer("Unknown");
    }
}

const char *ufib_bt_v4_object_str(uint32_t type) {
    switch (type) {
    case UFIB_OBJ_V4PREFIX: return in_buffer("V4 prefix");
    case UFIB_OBJ_V6PREFIX: return in_buffer("V6 prefix");
    case UFIB_OBJ_ECMP: return in_buffer("ECMP");
    case UFIB_OBJ_V4ADJ: return in_buffer("V4 adj");
    case UFIB_OBJ_V6ADJ: return in_buffer("V6 adj");
    case UFIB_OBJ_VOBJ: return in_buffer("vobj");
    case UFIB_OBJ_MPLS_ADJ: return in_buffer("MPLS adj");
    case UFIB_OBJ_MPLS_ECMP: return in_buffer("MPLS ECMP");
    case UFIB_OBJ_MPLS_TE: return in_buffer("TE adj");
    case UFIB_OBJ_MPLS_TE_ADJ: return in_buffer("TE LDP");
    default: return in_buffer("Unknown");
    }
}

/* ctime() without the end of its line. */
const char *ufib_bt_time_str(uint32_t seconds) {
    const time_t time = seconds;
    char text[32] = "";
    (void)!ctime_r(&time, text);
    char *buffer = next_buffer();
    std::snprintf(buffer, TEXT_BYTES, "%.24s", text);
    return buffer;
}
