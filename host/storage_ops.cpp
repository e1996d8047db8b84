#include "storage_ops.h"

namespace rfs_host {

int install(const StorageOps &ops) {
    return rfs_set_operate_cb(ops.open, ops.close, ops.read, ops.write, ops.sync);
}

} // namespace rfs_host
