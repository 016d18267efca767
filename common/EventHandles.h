#pragma once

#include "mxcommon/Mutex.h"
#include "zebdiscovery/types.h"

#include <cstdint>
#include <memory>

namespace zebdiscovery {

/**
 * The event handles that a discoverer in multiple-handle mode gives its host.
 *
 * There are two sets. The working set is changed at any time, from any thread,
 * under the mutex. The published set is what the host was last given: it is
 * replaced only by prepare(), on the host's thread, when the host asks again, so
 * the host may read the published arrays without a lock.
 */
class EventHandles {
public:
    /**
     * Handles in insertion order with one write flag each, as a pair of arrays that
     * a host can walk: the handles end with ZEBDiscovererNoEventHandle.
     *
     * Not synchronised. Every operation checks on entry and on exit that
     *   - the two arrays exist together, and exactly when there is capacity
     *   - the count is within the capacity, and the arrays hold one entry more
     *   - no handle is ZEBDiscovererNoEventHandle, and none is there twice
     *   - ZEBDiscovererNoEventHandle stands behind the last handle
     * and stops the process otherwise.
     */
    class HandleSet {
    public:
        HandleSet() = default;
        HandleSet(const HandleSet&) = delete;

        /** Become a copy of another set. Throws std::bad_alloc, with the set as it was. */
        HandleSet& operator=(const HandleSet& other);
        bool operator==(const HandleSet& other) const;

        /** Add a handle; one that is there already keeps its flag. Throws std::bad_alloc, with the set
         *  as it was. */
        void addHandle(const ZEBDiscovererEventHandle* handleToAdd, bool writeNotification);
        /** Remove a handle; does nothing for null, for no handle and for one that is not there. */
        void removeHandle(const ZEBDiscovererEventHandle* handle);
        /** Change a handle's flag; does nothing for one that is not there. */
        void setHandleWriteNotifications(const ZEBDiscovererEventHandle* handle, bool writeNotification);
        /** Remove all handles; the arrays stay. */
        void clear();

        /** The arrays; owned by the set. Null until a handle has been added. */
        ZEBDiscovererEventHandle* eventHandles() const;
        int* writeNotifications() const;

    private:
        /** Checks the invariants when made and when it goes. */
        class InvarianceGuard;
        struct Arrays;

        void checkInvariance() const;
        void checkEveryHandleIsUnique() const;
        uint32_t indexOf(ZEBDiscovererEventHandle handle) const;
        void grow();
        void adopt(Arrays&& arrays, uint32_t capacity);
        void copyEntries(const HandleSet& other);

        std::unique_ptr<ZEBDiscovererEventHandle[]> mpEventHandles;
        /** 1: the host must also report writability, 0: readability only. */
        std::unique_ptr<int[]> mpWriteNotification;
        uint32_t mHandleCount = 0;
        /** The arrays have room for one entry more: the terminator. */
        uint32_t mMaxHandleCount = 0;
    };

    /** Change the working set; see HandleSet. [any-thread] */
    void addHandle(const ZEBDiscovererEventHandle* handle, bool writeNotification);
    void removeHandle(const ZEBDiscovererEventHandle* handle);
    void setHandleWriteNotifications(const ZEBDiscovererEventHandle* handle, bool writeNotification);
    void clear();

    /** Publish the working set if it differs from what is published; says whether it did. Throws
     *  std::bad_alloc, with what is published as it was. [host-thread] */
    bool prepare();

    /** The published arrays, unchanged until the next prepare(); null when no handle was ever published.
     *  [host-thread] */
    ZEBDiscovererEventHandle* publishedHandles();
    int* publishedWriteNotifications();

private:
    // No lock guards the published set's content for the host: only prepare() writes it.
    HandleSet mPublished;
    HandleSet mWorking ZEB_GUARDED_BY(mMutex);
    mxcommon::Mutex mMutex;
};

} // namespace zebdiscovery
