#include "bench/support/BareTable.h"

#include "common/ZEBDiscovererImpl.h"

namespace zebbench {
namespace {

using zebdiscovery::ZEBDiscovererImpl;

template <auto Method>
struct Bare;

template <class R, class... Args, R (ZEBDiscovererImpl::*Method)(Args...)>
struct Bare<Method> {
    static R call(ZEBDiscoverer* handle, Args... args) {
        return (reinterpret_cast<ZEBDiscovererImpl*>(handle)->*Method)(args...);
    }
};

ZEBDiscovererInterface makeTable() {
    using D = ZEBDiscovererImpl;
    ZEBDiscovererInterface table{};
    table.getDescription = &Bare<&D::getDescription>::call;
    table.getDeviceInterest = &Bare<&D::getDeviceInterest>::call;
    table.getMultipleEventHandlesEx = &Bare<&D::getMultipleEventHandlesEx>::call;
    table.handleSingleEvent = &Bare<&D::handleSingleEvent>::call;
    table.fetchEntityValue = &Bare<&D::fetchEntityValue>::call;
    return table;
}

} // namespace

const ZEBDiscovererInterface& bareTable() {
    static const ZEBDiscovererInterface table = makeTable();
    return table;
}

} // namespace zebbench
