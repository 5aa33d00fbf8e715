/* softfwd/softfwd_family.h: what differs between IPv4 and IPv6: the model's accessors and the names of operations. For
 * softfwd/ only. */
#pragma once

#include "platform/ufib_pi.h"
#include "platform/ufib_pi_rpf.h"
#include "platform/ufib_platform_api.h"
#include "softfwd/softfwd_layout.h"

#include <cstdint>

struct softfwd_v4 {
    static constexpr address_family family = ADDRESS_FAMILY_V4;
    static constexpr unsigned bits_max = 32;
    static constexpr softfwd_op insert_table = SOFTFWD_OP_INSERT_V4_TABLE;
    static constexpr softfwd_op delete_table = SOFTFWD_OP_DELETE_V4_TABLE;
    static constexpr softfwd_op insert_prefix = SOFTFWD_OP_INSERT_V4_PREFIX;
    static constexpr softfwd_op delete_prefix = SOFTFWD_OP_DELETE_V4_PREFIX;
    static constexpr softfwd_op update_nh = SOFTFWD_OP_UPDATE_V4_NH;
    static constexpr softfwd_op clean_prefix = SOFTFWD_OP_CLEAN_V4_PREFIX;

    static lpm_key key(const void *pfx) { return lpm_key_v4(ufib_pi_v4prefix_get_prefix(pfx)); }
    static uint32_t bits(const void *pfx) { return ufib_pi_v4prefix_get_prefix_len(pfx); }
    static uint32_t handle(const void *pfx) { return ufib_pi_v4prefix_get_handle(pfx); }
    static bool is_local(const void *pfx) { return ufib_pi_v4prefix_is_local(pfx); }
    static bool is_direct(const void *pfx) { return ufib_pi_v4prefix_is_direct(pfx); }
    static bool is_attached(const void *pfx) { return ufib_pi_v4prefix_is_attached(pfx); }
    static bool is_drop(const void *pfx) { return ufib_pi_v4prefix_is_drop(pfx); }
    static bool is_ldb(const void *pfx) { return ufib_pi_v4prefix_is_ldb(pfx); }
    static uint32_t rpf_interface(const void *pfx) { return ufib_pi_v4pfx_get_if_for_rpf(pfx); }
    static void *space(void *pfx) { return ufib_pi_v4prefix_get_platform_space(pfx); }
    static uint32_t space_len(const ufib_platform_caps &caps) { return caps.v4prefix_space_len; }

    static int cookie_add(void *pfx) { return ufib_pi_pfx_cookie_add(pfx); }
    static void cookie_forget(void *) {} /* the model drops a freed prefix by itself */
    static void *cookie_get(uint32_t index) { return ufib_pi_cookie_pfx_get(index); }
    static void cookie_result(uint32_t index, int result) { ufib_pi_upd_pfx_retval(index, result); }
    static void cookie_done() { ufib_pi_cookie_proc_set(); }
};

struct softfwd_v6 {
    static constexpr address_family family = ADDRESS_FAMILY_V6;
    static constexpr unsigned bits_max = 128;
    static constexpr softfwd_op insert_table = SOFTFWD_OP_INSERT_V6_TABLE;
    static constexpr softfwd_op delete_table = SOFTFWD_OP_DELETE_V6_TABLE;
    static constexpr softfwd_op insert_prefix = SOFTFWD_OP_INSERT_V6_PREFIX;
    static constexpr softfwd_op delete_prefix = SOFTFWD_OP_DELETE_V6_PREFIX;
    static constexpr softfwd_op update_nh = SOFTFWD_OP_UPDATE_V6_NH;
    static constexpr softfwd_op clean_prefix = SOFTFWD_OP_CLEAN_V6_PREFIX;

    static lpm_key key(const void *pfx) {
        uint8_t address[16];
        ufib_pi_v6prefix_get_prefix(pfx, address);
        return lpm_key_load(address, 128);
    }
    static uint32_t bits(const void *pfx) { return ufib_pi_v6prefix_get_prefix_len(pfx); }
    static uint32_t handle(const void *pfx) { return ufib_pi_v6prefix_get_handle(pfx); }
    static bool is_local(const void *pfx) { return ufib_pi_v6prefix_is_local(pfx); }
    static bool is_direct(const void *pfx) { return ufib_pi_v6prefix_is_direct(pfx); }
    static bool is_attached(const void *pfx) { return ufib_pi_v6prefix_is_attached(pfx); }
    static bool is_drop(const void *pfx) { return ufib_pi_v6prefix_is_drop(pfx); }
    static bool is_ldb(const void *pfx) { return ufib_pi_v6prefix_is_ldb(pfx); }
    static uint32_t rpf_interface(const void *pfx) { return ufib_pi_v6pfx_get_if_for_rpf(pfx); }
    static void *space(void *pfx) { return ufib_pi_v6prefix_get_platform_space(pfx); }
    static uint32_t space_len(const ufib_platform_caps &caps) { return caps.v6prefix_space_len; }

    static int cookie_add(void *pfx) { return ufib6_pi_pfx_cookie_add(pfx); }
    static void cookie_forget(void *pfx) { ufib6_pi_pfx_cookie_del(pfx); }
    static void *cookie_get(uint32_t index) { return ufib6_pi_cookie_pfx_get(index); }
    static void cookie_result(uint32_t index, int result) { ufib6_pi_upd_pfx_retval(index, result); }
    static void cookie_done() { ufib6_pi_cookie_proc_set(); }
};
