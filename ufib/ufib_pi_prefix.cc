/* Accessors: prefixes. */
#include "platform/ufib_pi.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_vdc.h"

#include <cstring>

static const ufib_pfx *pfx_of(const void *pfx) { return static_cast<const ufib_pfx *>(pfx); }

static bool has_flag(const void *pfx, uint32_t flag) {
    return pfx != nullptr && (pfx_of(pfx)->route_flags & flag) != 0;
}

static bool is_drop(const void *pfx) {
    if (pfx == nullptr) return false;
    if ((pfx_of(pfx)->route_flags & ROUTE_DROP) != 0) return true;
    const ufib_obj *next = pfx_of(pfx)->obj.next;
    return next != nullptr && ufib_obj_is_adj(next) &&
           (reinterpret_cast<const ufib_adj *>(next)->flags & UFIB_ADJ_DROP) != 0;
}

static void *next_adj(const void *pfx) {
    if (pfx == nullptr || pfx_of(pfx)->obj.next == nullptr) return nullptr;
    ufib_obj *next = pfx_of(pfx)->obj.next;
    return ufib_obj_is_adj(next) ? next : nullptr;
}

static ufib_table *table_of(uint32_t vdc_id, uint32_t table_id, const ufib_family &family) {
    ufib_table *table = ufib_table_search(ufib_vdc_get(vdc_id), table_id);
    return table != nullptr && table->type == family.table_type ? table : nullptr;
}

static void *first_prefix(uint32_t vdc_id, uint32_t table_id, const ufib_family &family) {
    const ufib_table *table = table_of(vdc_id, table_id, family);
    return table == nullptr ? nullptr : ufib_prefix_get_first(&table->main);
}

static void *next_prefix(const void *pfx) {
    if (pfx == nullptr) return nullptr;
    const ufib_pfx *at = pfx_of(pfx);
    return ufib_prefix_get_next(&at->table->main, ufib_pfx_address(at), at->mask_len);
}

static void *next_from_key(uint32_t vdc_id, uint32_t table_id, const ufib_family &family,
                           const uint8_t *address, uint32_t mask_len) {
    const ufib_table *table = table_of(vdc_id, table_id, family);
    if (table == nullptr || mask_len > family.max_len) return nullptr;
    return ufib_prefix_get_next(&table->main, address, mask_len);
}

static uint32_t longest_handle(uint32_t vdc_id, uint32_t table_id, const ufib_family &family,
                               const uint8_t *address) {
    ufib_table *table = table_of(vdc_id, table_id, family);
    return ufib_obj_get_hardware_handle(
        table == nullptr ? nullptr
                         : reinterpret_cast<const ufib_obj *>(ufib_prefix_search_l(table, address)));
}

static void *first_of(const void *object, const ufib_family &family) {
    const auto *table = static_cast<const ufib_table *>(object);
    return table == nullptr || table->type != family.table_type ? nullptr
                                                                : ufib_prefix_get_first(&table->main);
}

static void v4_bytes(uint32_t address, uint8_t bytes[4]) {
    const wire_be<uint32_t> word = wire_put(address);
    std::memcpy(bytes, word.raw, sizeof word.raw);
}

extern "C" {

bool ufib_pi_v4prefix_is_local(const void *pfx) { return has_flag(pfx, ROUTE_LOCAL); }
bool ufib_pi_v4prefix_is_direct(const void *pfx) { return has_flag(pfx, ROUTE_DIRECT); }
bool ufib_pi_v4prefix_is_attached(const void *pfx) { return has_flag(pfx, ROUTE_ATTACHED); }
bool ufib_pi_v4prefix_is_ldb(const void *pfx) { return has_flag(pfx, ROUTE_LDB); }
bool ufib_pi_v4prefix_is_wildcard(const void *pfx) { return has_flag(pfx, ROUTE_WILDCARD); }
bool ufib_pi_v4prefix_is_drop(const void *pfx) { return is_drop(pfx); }
bool ufib_pi_v6prefix_is_local(const void *pfx) { return has_flag(pfx, ROUTE_LOCAL); }
bool ufib_pi_v6prefix_is_direct(const void *pfx) { return has_flag(pfx, ROUTE_DIRECT); }
bool ufib_pi_v6prefix_is_attached(const void *pfx) { return has_flag(pfx, ROUTE_ATTACHED); }
bool ufib_pi_v6prefix_is_ldb(const void *pfx) { return has_flag(pfx, ROUTE_LDB); }
bool ufib_pi_v6prefix_is_wildcard(const void *pfx) { return has_flag(pfx, ROUTE_WILDCARD); }
bool ufib_pi_v6prefix_is_drop(const void *pfx) { return is_drop(pfx); }

void *ufib_pi_prefix_get_platform_space(void *pfx) {
    return pfx == nullptr ? nullptr : ufib_prefix_platform_space(static_cast<ufib_pfx *>(pfx));
}
void *ufib_pi_v4prefix_get_platform_space(void *pfx) { return ufib_pi_prefix_get_platform_space(pfx); }
void *ufib_pi_v6prefix_get_platform_space(void *pfx) { return ufib_pi_prefix_get_platform_space(pfx); }

static uint32_t nh_count(const void *pfx) { return pfx == nullptr ? 0 : pfx_of(pfx)->nh_count; }
static uint32_t mask_len(const void *pfx) { return pfx == nullptr ? 0 : pfx_of(pfx)->mask_len; }
static uint32_t table_id(const void *pfx) { return pfx == nullptr ? 0 : pfx_of(pfx)->table->table_id; }

uint32_t ufib_pi_v4prefix_get_nhcount(const void *pfx) { return nh_count(pfx); }
uint32_t ufib_pi_v6prefix_get_nhcount(const void *pfx) { return nh_count(pfx); }
uint32_t ufib_pi_v4prefix_get_prefix_len(const void *pfx) { return mask_len(pfx); }
uint32_t ufib_pi_v6prefix_get_prefix_len(const void *pfx) { return mask_len(pfx); }
uint32_t ufib_pi_v4prefix_get_table_id(const void *pfx) { return table_id(pfx); }
uint32_t ufib_pi_v6prefix_get_table_id(const void *pfx) { return table_id(pfx); }
uint32_t ufib_pi_v4prefix_get_handle(const void *pfx) { return ufib_pi_obj_get_hh(pfx); }
uint32_t ufib_pi_v6prefix_get_handle(const void *pfx) { return ufib_pi_obj_get_hh(pfx); }
uint32_t ufib_pi_v4prefix_get_table_hh(const void *pfx) { return ufib_pi_prefix_get_table_handle(pfx); }
uint32_t ufib_pi_v6prefix_get_table_hh(const void *pfx) { return ufib_pi_prefix_get_table_handle(pfx); }

uint32_t ufib_pi_v4prefix_get_prefix(const void *pfx) {
    return pfx == nullptr ? 0 : ufib_v4_addr(ufib_pfx_address(pfx_of(pfx)));
}
void ufib_pi_v6prefix_get_prefix(const void *pfx, uint8_t address[16]) {
    if (pfx == nullptr)
        std::memset(address, 0, 16);
    else
        std::memcpy(address, ufib_pfx_address(pfx_of(pfx)), 16);
}

uint32_t ufib_pi_v4prefix_get_longest_handle(uint32_t vdc_id, uint32_t id, uint32_t address) {
    uint8_t bytes[4];
    v4_bytes(address, bytes);
    return longest_handle(vdc_id, id, ufib_v4, bytes);
}
uint32_t ufib_pi_v6prefix_get_longest_handle(uint32_t vdc_id, uint32_t id, const uint8_t address[16]) {
    return longest_handle(vdc_id, id, ufib_v6, address);
}

void *ufib_pi_v4prefix_get_adj(const void *pfx) { return next_adj(pfx); }
void *ufib_pi_v6prefix_get_adj(const void *pfx) { return next_adj(pfx); }
void *ufib_pi_v4prefix_get_next(const void *pfx) { return next_prefix(pfx); }
void *ufib_pi_v6prefix_get_next(const void *pfx) { return next_prefix(pfx); }
void *ufib_pi_v4prefix_get_first(uint32_t vdc_id, uint32_t id) { return first_prefix(vdc_id, id, ufib_v4); }
void *ufib_pi_v6prefix_get_first(uint32_t vdc_id, uint32_t id) { return first_prefix(vdc_id, id, ufib_v6); }
void *ufib_pi_v4prefix_get_first_node(const void *table) { return first_of(table, ufib_v4); }
void *ufib_pi_v6prefix_get_first_node(const void *table) { return first_of(table, ufib_v6); }
void *ufib_pi_v4prefix_get_next_from_key(uint32_t vdc_id, uint32_t id, uint32_t address, uint32_t len) {
    uint8_t bytes[4];
    v4_bytes(address, bytes);
    return next_from_key(vdc_id, id, ufib_v4, bytes, len);
}
void *ufib_pi_v6prefix_get_next_from_key(uint32_t vdc_id, uint32_t id, const uint8_t address[16],
                                         uint32_t len) {
    return next_from_key(vdc_id, id, ufib_v6, address, len);
}

uint32_t ufib_pi_v6prefix_get_if_index(const void *pfx) {
    if (pfx == nullptr) return 0;
    const void *adj = next_adj(pfx);
    return adj != nullptr ? ufib_pi_v6adj_get_if_index(adj) : pfx_of(pfx)->attached_if_index;
}

uint32_t ufib_pi_v6pfx_get_nll_intf(const void *pfx) {
    if (pfx == nullptr || ufib_pi_v6_is_addr_link_local(ufib_pfx_address(pfx_of(pfx)))) return 0;
    return ufib_pi_v6prefix_get_if_index(pfx);
}

bool ufib_pi_v6_is_addr_link_local(const uint8_t address[16]) {
    return address[0] == 0xfe && (address[1] & 0xc0) == 0x80;
}

uint32_t ufib_pi_prefix_get_adj_handle(const void *pfx) {
    return ufib_pi_obj_get_hh(ufib_pi_prefix_get_next_obj(pfx));
}
void *ufib_pi_prefix_get_next_obj(const void *pfx) {
    return pfx == nullptr ? nullptr : pfx_of(pfx)->obj.next;
}
void *ufib_pi_pfx_base_get_next_obj(const void *pfx) { return ufib_pi_prefix_get_next_obj(pfx); }

int ufib_pi_prefix_get_sgt(const void *pfx, uint16_t *tag) {
    if (pfx == nullptr || (pfx_of(pfx)->tag_flags & UFIB_TAG_VALID) == 0) return -1;
    *tag = pfx_of(pfx)->sgt;
    return 0;
}

uint32_t ufib_pi_prefix_get_vdc_id(const void *pfx) {
    return pfx == nullptr ? 0 : pfx_of(pfx)->table->vdc_id;
}
uint32_t ufib_pi_prefix_get_table_handle(const void *pfx) {
    return pfx == nullptr ? 0 : pfx_of(pfx)->table->obj.handle;
}

void ufib_pi_prefix_destroy(void *object) {
    if (object == nullptr) return;
    auto *pfx = static_cast<ufib_pfx *>(object);
    pfx->holders = 0;
    (void)ufib_prefix_destroy(pfx->table, pfx);
}

static bool is_type(const void *obj, uint32_t type) {
    return obj != nullptr && ufib_obj_type_of(static_cast<const ufib_obj *>(obj)) == type;
}
bool ufib_pi_is_v4_prefix(const void *obj) { return is_type(obj, UFIB_OBJ_V4PREFIX); }
bool ufib_pi_is_v6_prefix(const void *obj) { return is_type(obj, UFIB_OBJ_V6PREFIX); }
}
