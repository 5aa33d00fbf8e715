#include "core/lcfwd_opcodes.h"

#include "core/lcfwd_exit.h"
#include "core/lcfwd_handlers.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_memory.h"
#include "core/lcfwd_mts.h"
#include "host/system/mtrack.h"

#include <algorithm>
#include <iterator>

mts_row *mts_msg_info_ptr;
uint32_t lcfwd_sizeof_mts_msg_info_array;

static constexpr int no_memory = 67;
static constexpr uint32_t options_all = LCFWD_MSG_OPTION_1 | LCFWD_MSG_OPTION_16;
static constexpr uint32_t flags_slow = 0x4000 | options_all; /* bit 14 is the framework's */

static constexpr mts_row row(uint32_t opcode, uint32_t flags, uint32_t queue, fu_handler handler) {
    return {opcode, flags, queue, handler, nullptr, {}};
}

/* The usual row: delivery options 1 and 16. */
static constexpr mts_row row(uint32_t opcode, uint32_t queue, fu_handler handler) {
    return row(opcode, options_all, queue, handler);
}

/* The system's own: debug, syslog and database services take them before a handler is looked for. */
const mts_row lcfwd_mts_sys_msg_info_array[] = {
    row(1530, 0x4001, LCFWD_Q_SYS, nullptr),
    row(185, 0, LCFWD_Q_SYS, nullptr),
    row(1360, 0, LCFWD_Q_SYS, nullptr),
    row(1361, 0, LCFWD_Q_SYS, nullptr),
};

/* Rows of LCFWD_Q_PD are taken by the platform library as they come; so their handler is null for good. */
const mts_row lcfwd_mts_msg_info_array[] = {
    row(74767, LCFWD_Q_UCAST, ufib_ufdm_v4_route_update),
    row(74768, LCFWD_Q_UCAST, ufib_ufdm_v6_route_update),
    row(74766, LCFWD_Q_UCAST, ufib_fu_am_notification),
    row(75794, LCFWD_Q_MCAST, nullptr),
    row(75795, LCFWD_Q_MCAST, nullptr),
    row(75781, LCFWD_Q_MCAST, nullptr),
    row(75802, LCFWD_Q_MCAST, nullptr),
    row(75817, LCFWD_Q_MCAST, nullptr),
    row(75803, LCFWD_Q_MCAST, nullptr),
    row(75792, flags_slow, LCFWD_Q_LP, nullptr),
    row(75793, flags_slow, LCFWD_Q_LP, nullptr),
    row(77825, flags_slow, LCFWD_Q_LP, nullptr),
    row(77829, flags_slow, LCFWD_Q_LP, nullptr),
    row(77830, flags_slow, LCFWD_Q_LP, nullptr),
    row(30724, LCFWD_Q_LP, lcfwd_process_intf_stats_req),
    row(74761, LCFWD_Q_UCAST, ufib_fu_rpf_notification),
    row(60429, LCFWD_Q_UCAST, nullptr),
    row(60428, LCFWD_Q_UCAST, nullptr),
    row(74762, LCFWD_Q_UCAST, ufib_fu_ufdm_download),
    row(73741, LCFWD_Q_MCAST, nullptr),
    row(74760, LCFWD_Q_UCAST, ufib_fu_ufdm_router_mac),
    row(74773, LCFWD_Q_UCAST, ufib_fu_ufdm_static_if_mac),
    row(75787, LCFWD_Q_MCAST, mfib_fu_mfdm_download),
    row(74763, LCFWD_Q_UCAST, nullptr),
    row(71683, LCFWD_Q_LP, ufib_fu_nf_request),
    row(74765, LCFWD_Q_UCAST, ufib_fu_ufdm_up),
    row(75783, LCFWD_Q_MCAST, mfib_fu_mfdm_up),
    row(485, LCFWD_Q_SP, lcfwd_fu_vdc_create),
    row(488, LCFWD_Q_SP, lcfwd_fu_vdc_delete),
    row(62488, LCFWD_Q_UCAST, lcfwd_fu_lc_inserted),
    row(31747, LCFWD_Q_UCAST, lcfwd_fu_lc_removed),
    row(456, LCFWD_Q_UCAST, nullptr),
    row(74764, LCFWD_Q_UCAST, ufib_fu_tunnel_update),
    row(75782, LCFWD_Q_MCAST, nullptr),
    row(596, LCFWD_Q_UCAST, ufib_fu_lc_upgrade),
    row(60433, LCFWD_Q_UCAST, ufib_fu_sal_lc_upgrade),
    row(575, LCFWD_Q_UCAST, fib_fu_ufdm_status_request),
    row(74753, 0x4004, LCFWD_Q_LP, ufib_fu_ufdm_statistics_poll),
    row(74755, LCFWD_Q_UCAST, ufib_fu_delete_stale_routes),
    row(68615, LCFWD_Q_PD, nullptr),
    row(68616, LCFWD_Q_PD, nullptr),
    row(73743, LCFWD_Q_PD, nullptr),
    row(1119, LCFWD_Q_UCAST, ufib_ufdm_v4_consistency_check),
    row(74771, LCFWD_Q_UCAST, ufib_fu_clear_forwarding_request),
    row(75800, LCFWD_Q_MCAST, nullptr),
    row(75801, LCFWD_Q_MCAST, nullptr),
    row(74772, LCFWD_Q_UCAST, ufib_fu_clear_forwarding_adj_request),
    row(458, LCFWD_Q_UCAST, nullptr),
    row(1123, LCFWD_Q_UCAST, ufib_ufdm_v6_consistency_check),
    row(77831, LCFWD_Q_UCAST, nullptr),
    row(73748, LCFWD_Q_PD, nullptr),
    row(77832, LCFWD_MSG_OPTION_16, LCFWD_Q_UCAST, nullptr),
    row(74779, LCFWD_Q_UCAST, nullptr),
    row(74776, LCFWD_Q_UCAST, nullptr),
    row(74781, LCFWD_Q_UCAST, nullptr),
    row(74782, LCFWD_Q_UCAST, nullptr),
    row(74783, LCFWD_Q_UCAST, nullptr),
    row(74785, LCFWD_Q_UCAST, nullptr),
    row(74789, LCFWD_Q_UCAST, nullptr),
    row(77833, LCFWD_Q_PD, nullptr),
    row(160769, LCFWD_Q_PD, nullptr),
    row(160770, LCFWD_Q_PD, nullptr),
    row(125995, LCFWD_Q_MCAST, nullptr),
    row(165894, LCFWD_Q_PD, nullptr),
    row(77835, LCFWD_Q_MCAST, nullptr),
    row(77834, LCFWD_Q_UCAST, ufib_fu_hw_res_request),
    row(74790, LCFWD_Q_UCAST, nullptr),
    row(74791, LCFWD_Q_UCAST, nullptr),
    row(74793, LCFWD_Q_UCAST, nullptr),
    row(8931, LCFWD_Q_MCAST, lcfwd_handle_feature_set_notif),
    row(74796, LCFWD_Q_PD, nullptr),
    row(73756, LCFWD_Q_PD, nullptr),
    row(74795, LCFWD_Q_UCAST, nullptr),
    row(73751, LCFWD_Q_UCAST, ufib_eltmc_pervpn_ilm_alloc),
    row(73752, LCFWD_Q_PD, nullptr),
    row(77843, LCFWD_Q_UCAST, ufib_fu_get_aged_routes),
    row(74809, LCFWD_Q_UCAST, nullptr),
    row(77846, LCFWD_Q_UCAST, nullptr),
    row(77847, LCFWD_Q_UCAST, nullptr),
    row(164877, LCFWD_Q_UCAST, nullptr),
    row(77848, LCFWD_Q_UCAST, nullptr),
    row(164878, LCFWD_Q_UCAST, nullptr),
    row(77849, LCFWD_Q_LP, ufib_nve_peer_get_mac_counters),
};

const mts_row lcfwd_mts_cmi_msg_info_array[] = {
    row(7679, 0, LCFWD_Q_CMI, lcfwd_fu_cmi_message),
    row(77843, LCFWD_Q_UCAST, ufib_fu_get_aged_routes),
};

const size_t lcfwd_mts_sys_msg_info_count = std::size(lcfwd_mts_sys_msg_info_array);
const size_t lcfwd_mts_msg_info_count = std::size(lcfwd_mts_msg_info_array);
const size_t lcfwd_mts_cmi_msg_info_count = std::size(lcfwd_mts_cmi_msg_info_array);

int lcfwd_create_mts_opc_list() {
    if (mts_msg_info_ptr != nullptr) return 0;
    const size_t rows =
        lcfwd_mts_sys_msg_info_count + lcfwd_mts_msg_info_count + lcfwd_mts_cmi_msg_info_count;
    mts_msg_info_ptr = static_cast<mts_row *>(mtrack_calloc(LCFWD_MEM_mts_msg_info, rows * sizeof(mts_row)));
    if (mts_msg_info_ptr == nullptr) return no_memory;
    mts_row *end = std::copy_n(lcfwd_mts_sys_msg_info_array, lcfwd_mts_sys_msg_info_count, mts_msg_info_ptr);
    end = std::copy_n(lcfwd_mts_msg_info_array, lcfwd_mts_msg_info_count, end);
    std::copy_n(lcfwd_mts_cmi_msg_info_array, lcfwd_mts_cmi_msg_info_count, end);
    lcfwd_sizeof_mts_msg_info_array = static_cast<uint32_t>(rows);
    return 0;
}

int lcfwd_mts_set_msg_options(const mts_row *row) {
    if ((row->flags & LCFWD_MSG_NO_OPTION) != 0) return 0;
    uint32_t value = 0;
    if ((row->flags & LCFWD_MSG_OPTION_1) != 0) value |= 1;
    if ((row->flags & LCFWD_MSG_OPTION_2) != 0) value |= 2;
    if ((row->flags & LCFWD_MSG_OPTION_16) != 0) value |= 16;
    if (mts_options_set(lcfwd_mts_q_array[row->queue].handle, row->opcode, value) == -1) {
        return lcfwd_exit(LCFWD_EXIT_OPTIONS);
    }
    LCFWD_TRACE("%s(%d): registered %s(%u) with fib_q_mts\n", __func__, __LINE__,
                mts_opc_name_get(row->opcode), row->opcode);
    return 0;
}

void lcfwd_opcodes_reset() {
    mtrack_free(mts_msg_info_ptr);
    mts_msg_info_ptr = nullptr;
    lcfwd_sizeof_mts_msg_info_array = 0;
}
