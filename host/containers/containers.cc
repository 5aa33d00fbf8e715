#include "host/containers/containers.h"

#include "host/containers/dbly_linkage.h"
#include "host/containers/heap.h"
#include "host/containers/pt.h"
#include "host/containers/slab.h"

void containers_reset() {
    heap_fail_nth(0, false);
    pt_reset();
    slab_release_all();
    dbly_linkage_fault_hook_set(nullptr);
}
