#include "common/EventHandles.h"

#include "mxcommon/Assert.h"

#include <algorithm>
#include <bitset>
#include <new>
#include <utility>

namespace zebdiscovery {

namespace {

constexpr uint32_t kFirstCapacity = 15;
// What an array of ints may hold before its size in bytes gets out of hand.
constexpr uint32_t kMaxElements = 0x1ffffffe;

} // namespace

/** A pair of new arrays, not yet anybody's. */
struct EventHandles::HandleSet::Arrays {
    explicit Arrays(uint32_t elements) {
        if (elements > kMaxElements)
            throw std::bad_alloc();
        handles = std::make_unique<ZEBDiscovererEventHandle[]>(elements);
        writeNotification = std::make_unique<int[]>(elements);
    }

    std::unique_ptr<ZEBDiscovererEventHandle[]> handles;
    std::unique_ptr<int[]> writeNotification;
};

class EventHandles::HandleSet::InvarianceGuard {
public:
    explicit InvarianceGuard(const HandleSet& set) : mSet(set) { mSet.checkInvariance(); }
    ~InvarianceGuard() { mSet.checkInvariance(); }
    InvarianceGuard(const InvarianceGuard&) = delete;
    InvarianceGuard& operator=(const InvarianceGuard&) = delete;

private:
    const HandleSet& mSet;
};

void EventHandles::HandleSet::checkInvariance() const {
    ZEB_ASSERT(mpEventHandles || (mMaxHandleCount == 0 && !mpWriteNotification));
    ZEB_ASSERT(!mpEventHandles || (mMaxHandleCount > 0 && mpWriteNotification));
    ZEB_ASSERT(mHandleCount <= mMaxHandleCount);
    // The next two follow from these three, so a compiler would leave them out: let it look again.
    asm volatile("" ::: "memory");
    ZEB_ASSERT(mHandleCount == 0 || (mpEventHandles && mpWriteNotification));
    ZEB_ASSERT(mMaxHandleCount == 0 || (mpEventHandles && mpWriteNotification));
    for (uint32_t i = 0; i < mHandleCount; ++i)
        ZEB_ASSERT(mpEventHandles[i] != ZEBDiscovererNoEventHandle);
    checkEveryHandleIsUnique();
    ZEB_ASSERT(mMaxHandleCount == 0 || mpEventHandles[mHandleCount] == ZEBDiscovererNoEventHandle);
}

void EventHandles::HandleSet::checkEveryHandleIsUnique() const {
    // Two equal handles share a bucket, so only a bucket met before needs the walk over
    // all pairs. Descriptors are small numbers: the check stays linear.
    constexpr unsigned kBuckets = 8192;
    std::bitset<kBuckets> seen;
    for (uint32_t j = 0; j < mHandleCount; ++j) {
        const unsigned bucket = static_cast<unsigned>(mpEventHandles[j]) % kBuckets;
        for (uint32_t i = 0; seen[bucket] && i < j; ++i)
            ZEB_ASSERT(mpEventHandles[i] != mpEventHandles[j]);
        seen[bucket] = true;
    }
}

/** The handle's index; the count when it is not there. */
uint32_t EventHandles::HandleSet::indexOf(ZEBDiscovererEventHandle handle) const {
    const ZEBDiscovererEventHandle* begin = mpEventHandles.get();
    return static_cast<uint32_t>(std::find(begin, begin + mHandleCount, handle) - begin);
}

void EventHandles::HandleSet::adopt(Arrays&& arrays, uint32_t capacity) {
    mpEventHandles = std::move(arrays.handles);
    mpWriteNotification = std::move(arrays.writeNotification);
    mMaxHandleCount = capacity;
}

/** Make room for one more handle; on failure the set is as it was. */
void EventHandles::HandleSet::grow() {
    if (!mpEventHandles) {
        ZEB_ASSERT(mHandleCount == 0);
        adopt(Arrays(kFirstCapacity + 1), kFirstCapacity);
        mpEventHandles[0] = ZEBDiscovererNoEventHandle;
        return;
    }
    if (mHandleCount != mMaxHandleCount)
        return;
    ZEB_ASSERT(mMaxHandleCount > 0);
    Arrays arrays(2 * mMaxHandleCount + 1);
    std::copy_n(mpEventHandles.get(), mHandleCount + 1, arrays.handles.get());
    std::copy_n(mpWriteNotification.get(), mHandleCount + 1, arrays.writeNotification.get());
    const auto& pTmpEventHandles = arrays.handles;
    // The conditions are texts that users see: no blanks may be added to them.
    // clang-format off
    ZEB_ASSERT(pTmpEventHandles[mHandleCount-1] == mpEventHandles[mHandleCount-1]);
    // clang-format on
    ZEB_ASSERT(pTmpEventHandles[mHandleCount] == ZEBDiscovererNoEventHandle);
    adopt(std::move(arrays), 2 * mMaxHandleCount);
}

void EventHandles::HandleSet::addHandle(const ZEBDiscovererEventHandle* handleToAdd, bool writeNotification) {
    const InvarianceGuard guard(*this);
    ZEB_ASSERT(handleToAdd);
    ZEB_ASSERT(*handleToAdd != ZEBDiscovererNoEventHandle);
    if (indexOf(*handleToAdd) < mHandleCount)
        return;
    grow();
    ZEB_ASSERT(mHandleCount < mMaxHandleCount);
    mpEventHandles[mHandleCount] = *handleToAdd;
    mpWriteNotification[mHandleCount] = writeNotification ? 1 : 0;
    ++mHandleCount;
    mpEventHandles[mHandleCount] = ZEBDiscovererNoEventHandle;
}

void EventHandles::HandleSet::removeHandle(const ZEBDiscovererEventHandle* handle) {
    const InvarianceGuard guard(*this);
    if (!handle || *handle == ZEBDiscovererNoEventHandle)
        return;
    const uint32_t index = indexOf(*handle);
    if (index == mHandleCount)
        return;
    // The terminator moves along.
    const uint32_t following = mHandleCount - index;
    std::copy_n(mpEventHandles.get() + index + 1, following, mpEventHandles.get() + index);
    std::copy_n(mpWriteNotification.get() + index + 1, following, mpWriteNotification.get() + index);
    --mHandleCount;
}

void EventHandles::HandleSet::setHandleWriteNotifications(const ZEBDiscovererEventHandle* handle,
                                                          bool writeNotification) {
    const InvarianceGuard guard(*this);
    ZEB_ASSERT(handle);
    ZEB_ASSERT(*handle != ZEBDiscovererNoEventHandle);
    const uint32_t index = indexOf(*handle);
    if (index < mHandleCount)
        mpWriteNotification[index] = writeNotification ? 1 : 0;
}

void EventHandles::HandleSet::clear() {
    const InvarianceGuard guard(*this);
    mHandleCount = 0;
    if (mpEventHandles)
        mpEventHandles[0] = ZEBDiscovererNoEventHandle;
}

bool EventHandles::HandleSet::operator==(const HandleSet& other) const {
    const InvarianceGuard guard(*this);
    const InvarianceGuard otherGuard(other);
    return mHandleCount == other.mHandleCount &&
           std::equal(mpEventHandles.get(), mpEventHandles.get() + mHandleCount,
                      other.mpEventHandles.get()) &&
           std::equal(mpWriteNotification.get(), mpWriteNotification.get() + mHandleCount,
                      other.mpWriteNotification.get());
}

EventHandles::HandleSet& EventHandles::HandleSet::operator=(const HandleSet& other) {
    if (this == &other)
        return *this;
    const InvarianceGuard otherGuard(other);
    const InvarianceGuard guard(*this);
    if (mMaxHandleCount < other.mHandleCount) {
        // No doubling here: the published set only ever needs what it is given. Allocated before
        // anything is replaced: on failure the host goes on with what it had.
        adopt(Arrays(other.mHandleCount + 1), other.mHandleCount);
    }
    copyEntries(other);
    return *this;
}

void EventHandles::HandleSet::copyEntries(const HandleSet& other) {
    if (other.mHandleCount == 0)
        return clear();
    mHandleCount = other.mHandleCount;
    std::copy_n(other.mpEventHandles.get(), mHandleCount + 1, mpEventHandles.get());
    std::copy_n(other.mpWriteNotification.get(), mHandleCount + 1, mpWriteNotification.get());
}

ZEBDiscovererEventHandle* EventHandles::HandleSet::eventHandles() const {
    checkInvariance();
    return mpEventHandles.get();
}

int* EventHandles::HandleSet::writeNotifications() const {
    checkInvariance();
    return mpWriteNotification.get();
}

void EventHandles::addHandle(const ZEBDiscovererEventHandle* handle, bool writeNotification) {
    const mxcommon::MutexLock lock(mMutex);
    mWorking.addHandle(handle, writeNotification);
}

void EventHandles::removeHandle(const ZEBDiscovererEventHandle* handle) {
    const mxcommon::MutexLock lock(mMutex);
    mWorking.removeHandle(handle);
}

void EventHandles::setHandleWriteNotifications(const ZEBDiscovererEventHandle* handle,
                                               bool writeNotification) {
    const mxcommon::MutexLock lock(mMutex);
    mWorking.setHandleWriteNotifications(handle, writeNotification);
}

void EventHandles::clear() {
    const mxcommon::MutexLock lock(mMutex);
    mWorking.clear();
}

bool EventHandles::prepare() {
    const mxcommon::MutexLock lock(mMutex);
    if (mPublished == mWorking)
        return false;
    mPublished = mWorking;
    return true;
}

ZEBDiscovererEventHandle* EventHandles::publishedHandles() {
    const mxcommon::MutexLock lock(mMutex);
    return mPublished.eventHandles();
}

int* EventHandles::publishedWriteNotifications() {
    const mxcommon::MutexLock lock(mMutex);
    return mPublished.writeNotifications();
}

} // namespace zebdiscovery
