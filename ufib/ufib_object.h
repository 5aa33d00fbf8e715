/* ufib/ufib_object.h: the head of every forwarding object, references between objects, and the journal of one route
 * operation. Three rules keep hardware from pointing at a freed object:
 *  - every pointer from an object to its next object, and every holder, is one reference; freeing goes through
 *    ufib_obj_delete() alone, and only when no reference is left;
 *  - an object that is replaced is unlinked with delete_now clear: it stays, in memory and hardware, until the new
 *    state stands, and ufib_journal_delete_objects() deletes it then;
 *  - who drops references in a walk asks ufib_journal_find_ddel_object() first, so that nothing is deleted twice.
 * One thread. */
#pragma once

#include <cstddef>
#include <cstdint>

enum ufib_obj_type : uint32_t {
    UFIB_OBJ_NONE = 0,
    UFIB_OBJ_TABLE = 1,
    UFIB_OBJ_V4PREFIX = 2,
    UFIB_OBJ_V6PREFIX = 3,
    UFIB_OBJ_ECMP = 4,
    UFIB_OBJ_V4ADJ = 5,
    UFIB_OBJ_V6ADJ = 6,
    UFIB_OBJ_VLAN = 7,
    UFIB_OBJ_PEER_VLAN = 8,
    UFIB_OBJ_VOBJ = 9,
    UFIB_OBJ_VOBJ_FEC = 10,
    UFIB_OBJ_LISP_ENCAP = 11,
    UFIB_OBJ_MPLS_TABLE = 12,
    UFIB_OBJ_MPLS_LABEL = 13,
    UFIB_OBJ_MPLS_EOS = 14,
    UFIB_OBJ_MPLS_ADJ = 15,
    UFIB_OBJ_MPLS_ECMP = 16,
    UFIB_OBJ_MPLS_TE = 17,
    UFIB_OBJ_MPLS_TE_ADJ = 18,
    UFIB_OBJ_MPLS_L3VPN_LABEL = 19,
    UFIB_OBJ_TYPES
};

constexpr uint32_t UFIB_OBJ_REF = 256; /* one reference in type_refs */

/* The FIRST member of every forwarding object. Handle before pointer: 16 bytes instead of 24. */
struct ufib_obj {
    uint32_t type_refs; /* type in the low 8 bits, references above */
    uint32_t handle;    /* from the platform; 0: not in hardware */
    ufib_obj *next;     /* what it forwards to, with one reference; or null */
};

[[nodiscard]] inline uint32_t ufib_obj_type_of(const ufib_obj *obj) { return obj->type_refs & 0xff; }
[[nodiscard]] inline uint32_t ufib_obj_refs(const ufib_obj *obj) { return obj->type_refs >> 8; }
inline void ufib_obj_hold(ufib_obj *obj) { obj->type_refs += UFIB_OBJ_REF; }

/* Drops one reference; deletes nothing. At zero it logs and does nothing. */
void ufib_obj_drop(ufib_obj *obj);

[[nodiscard]] const char *ufib_obj_get_name(uint32_t type); /* "unknown" for a type without a name */

/* Size of an object of a type, platform tail included; 0 outside 1 to 19 and for types of variable size. */
[[nodiscard]] uint32_t ufib_obj_get_size(uint32_t type);
void ufib_obj_size_init();                             /* once the platform's sizes are known */
void ufib_obj_size_set(uint32_t type, uint32_t bytes); /* for types of other subsystems */

/* How an object of a type dies when nobody refers to it. Registered once by the subsystem that owns the type; a type
 * without one is never deleted. 'argument' is that of ufib_obj_delete. */
using ufib_obj_destroy_fn = void (*)(void *argument, ufib_obj *obj);
void ufib_obj_register(uint32_t type, ufib_obj_destroy_fn destroy);

/* Deletes an object that has no reference left; adjacencies decide by themselves, since holders count too. Null and
 * unregistered types: nothing. */
void ufib_obj_delete(void *argument, ufib_obj *obj);

/* While a restart rebuilds the model, what nobody refers to yet may still be somebody's: nothing is deleted. */
void ufib_obj_keep_all(bool keep);

/* Puts 'obj' into an empty slot with one reference. An occupied slot, or a null object: nothing happens. */
void ufib_obj_link_objects(ufib_obj **slot, ufib_obj *obj);

/* Empties a slot and drops its reference; then deletes the object at once, or enters it as a deferred delete. */
void ufib_obj_unlink_objects(ufib_obj **slot, bool delete_now);

/* Accessors; a null object gives 0. */
[[nodiscard]] ufib_obj *ufib_obj_get_next(const ufib_obj *obj);
[[nodiscard]] uint32_t ufib_obj_get_hardware_handle(const ufib_obj *obj);
void ufib_obj_set_hardware_handle(ufib_obj *obj, uint32_t handle);

void ufib_obj_reset(); /* process teardown in tests */
