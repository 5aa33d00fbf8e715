/* The operations buffers. */
#include "host/store/store_private.h"

static pss2_ops *buffer_of(const void *area) {
    for (pss2_ops &ops : store.buffers) {
        if (ops.area != nullptr && ops.area != area) continue;
        if (ops.ops == nullptr)
            ops.ops = static_cast<store_op *>(std::calloc(STORE_OPS_MAX, sizeof(store_op)));
        if (ops.ops == nullptr) return nullptr;
        ops.area = area;
        return &ops;
    }
    return nullptr;
}

pss2_ops *pss2_ops_init(void *area, uint32_t size, int *status) {
    *status = STORE_OK;
    if (store_fault_fires(STORE_FAULT_INIT, status)) return nullptr;
    const uint32_t capacity = size / STORE_OP_COUNTED;
    *status = STORE_BAD_ARGUMENT;
    if (area == nullptr || capacity == 0) return nullptr;
    *status = STORE_NO_SPACE;
    pss2_ops *ops = buffer_of(area);
    if (ops == nullptr) return nullptr;
    ops->capacity = capacity < STORE_OPS_MAX ? capacity : STORE_OPS_MAX;
    ops->count = 0;
    ops->selected = nullptr;
    ops->usable = true;
    *status = STORE_OK;
    return ops;
}

int pss2_ops_add_db(pss2_ops *ops, pss2_service *service) {
    int code = 0;
    if (store_fault_fires(STORE_FAULT_ADD_DB, &code)) return code;
    if (ops == nullptr || !ops->usable || service == nullptr) return STORE_BAD_ARGUMENT;
    ops->selected = nullptr;
    if (!service->open) return STORE_CLOSED;
    ops->selected = service;
    ops->selected_generation = service->generation;
    return STORE_OK;
}

int pss2_ops_add(pss2_ops *ops, int operation, const pss2_datum *key, const pss2_datum *value) {
    int code = 0;
    if (store_fault_fires(STORE_FAULT_ADD, &code)) return code;
    if (ops == nullptr || !ops->usable || ops->selected == nullptr) return STORE_BAD_ARGUMENT;
    if (operation != PSS2_OP_STORE && operation != PSS2_OP_DELETE) return STORE_BAD_ARGUMENT;
    if (key == nullptr || key->p == nullptr || key->len == 0 || key->len > STORE_KEY_MAX)
        return STORE_BAD_ARGUMENT;
    const bool stores = operation == PSS2_OP_STORE;
    if (stores &&
        (value == nullptr || (value->p == nullptr && value->len != 0) || value->len > STORE_VALUE_MAX))
        return STORE_BAD_ARGUMENT;
    if (ops->count == ops->capacity) return STORE_OPS_FULL;
    store_op *op = &ops->ops[ops->count++];
    op->key = static_cast<const uint8_t *>(key->p);
    op->key_len = static_cast<uint8_t>(key->len);
    op->value = stores ? static_cast<const uint8_t *>(value->p) : nullptr;
    op->value_len = stores ? value->len : 0;
    op->generation = ops->selected_generation;
    op->service = static_cast<uint16_t>(ops->selected->id);
    op->kind = stores ? STORE_OP_STORE : STORE_OP_DELETE;
    return STORE_OK;
}

int pss2_ops_exec(pss2_ops *ops) {
    int code = 0;
    if (store_fault_fires(STORE_FAULT_EXEC, &code)) return code;
    if (ops == nullptr || !ops->usable) return STORE_BAD_ARGUMENT;
    ops->usable = false;
    ops->selected = nullptr;
    return ops->count == 0 ? STORE_NOTHING : store_exec(ops->ops, ops->count);
}
