#include "capi/SessionTable.h"

namespace oravo::capi {

int SessionTable::findFree() {
    std::size_t i = 0;
    while (i < sessions_.size() && !sessions_[i].free()) ++i;
    if (i == sessions_.size()) sessions_.emplace_back();
    return static_cast<int>(i);
}

Session* SessionTable::find(int handle) {
    if (handle < 0 || static_cast<std::size_t>(handle) >= sessions_.size()) return nullptr;
    Session& session = (*this)[handle];
    return session.free() ? nullptr : &session;
}

}  // namespace oravo::capi
