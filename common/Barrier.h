#pragma once

#include "common/HostString.h"
#include "common/ZEBDiscovererImpl.h"

#include <algorithm>
#include <cstddef>
#include <type_traits>
#include <utility>

namespace zebdiscovery {

/** A text that can be a template argument, so that a row of the table can hold it. */
template <size_t N>
struct FixedText {
    // Implicit on purpose: rows are written with plain literals.
    constexpr FixedText(const char (&text)[N]) { std::copy_n(text, N, chars); }
    char chars[N];
};

/** Does a std::bad_alloc have its own line and result, or is it one of the std::exceptions? */
enum class OutOfMemoryLine : bool { No, Yes };

/** What the barrier's texts need to know of an operation. */
struct Operation {
    /** The operation's name in log lines. */
    const char* name;
    /** What the last resort says when something escapes. */
    const char* failure;
    OutOfMemoryLine outOfMemoryLine;
};

/** What the inner layer caught. */
struct Failure {
    enum class Cause { DiscoveryException, OutOfMemory, StandardException };

    Cause cause;
    ZEBDiscoverySDKError code;
};

/**
 * What stands between the host and every operation, so that no exception gets out.
 *
 * The inner layer catches what has a name, logs it through the host and hands the
 * failure to the row's outcome, which sends the result where it belongs. The outer
 * layer catches everything else, a failing log callback included, and writes to
 * standard error. This class is the frame's own way into ZEBDiscovererImpl.
 */
class Barrier {
public:
    /** The one cast from the host's handle: it is the discoverer's first base. */
    static ZEBDiscovererImpl& fromHandle(ZEBDiscoverer* handle) {
        return *reinterpret_cast<ZEBDiscovererImpl*>(handle);
    }

    /** Inner layer: name and log the exception that is being handled; rethrows what has no name. */
    static Failure logFailure(ZEBDiscovererImpl& self, const Operation& operation);

    /** Outer layer: tell standard error about the exception that is being handled. Aborts when even
     *  that fails. */
    static void lastResort(const char* failure) noexcept;

    /** Offer a device for a protocol: the one inner layer that catches everything. Frees the protocol
     *  string in every case. */
    static void offerForProtocol(ZEBDiscovererImpl& self, const Operation& operation,
                                 ZEBDiscovererDeviceProvider* pProvider, const ZEBDeviceInfo* pDevice,
                                 char* protocol);

    // Outcomes: where the result of a failed operation goes. `escaped` is returned when something
    // went past the inner layer, what caught() returns otherwise.

    /** Nowhere but to the log. */
    struct LogOnly {
        LogOnly(ZEBDiscovererImpl&, auto&&...) {}
        void caught(const Failure&) {}
    };

    /** Back to the caller, as an error code. */
    struct ReturnCode {
        static constexpr ZEBDiscoverySDKError escaped = ZEBDiscoverySDKErrorUnexpected;
        ReturnCode(ZEBDiscovererImpl&, auto&&...) {}
        ZEBDiscoverySDKError caught(const Failure& failure) { return failure.code; }
    };

    /** Back to the caller, as a fixed value. */
    template <auto Value>
    struct Return {
        static constexpr auto escaped = Value;
        Return(ZEBDiscovererImpl&, auto&&...) {}
        auto caught(const Failure&) { return Value; }
    };

    class CompleteFetch;
    class CompletePost;
    class CompletePublish;
    class CompleteUnpublish;
    class ReleaseDevice;
    class StopOnStandardException;
};

/** Answers a fetch that nobody has answered or kept, with a null value; its key is freed when what was
 *  thrown gets past the barrier's inner layer. */
class Barrier::CompleteFetch {
public:
    CompleteFetch(ZEBDiscovererImpl& self, ZEBDiscovererEntity* pEntity, char* key,
                  ZEBDiscoverySDKRequest* request) :
        mSelf(self),
        mpEntity(pEntity),
        mpKey(key),
        mpRequest(request),
        mOwed(self.mOwed, Completion::Fetch, key, request) {}
    ~CompleteFetch() {
        if (mHasFailed && mOwed.isOwed())
            HostString(mpKey, FreeHostString{&mSelf}).reset();
    }
    CompleteFetch(const CompleteFetch&) = delete;
    CompleteFetch& operator=(const CompleteFetch&) = delete;

    void failed() { mHasFailed = true; }
    void caught(const Failure& failure) {
        if (mOwed.isOwed())
            mSelf.entityFetchComplete(mpEntity, mpKey, mpRequest, failure.code, nullptr);
    }

private:
    ZEBDiscovererImpl& mSelf;
    ZEBDiscovererEntity* mpEntity;
    char* mpKey;
    ZEBDiscoverySDKRequest* mpRequest;
    OwedCompletion mOwed;
    /** The operation threw: what is still owed when this goes, nobody will send. */
    bool mHasFailed = false;
};

/** Answers a post that nobody has answered; as for a fetch, its strings are freed when it can't. */
class Barrier::CompletePost {
public:
    CompletePost(ZEBDiscovererImpl& self, ZEBDiscovererEntity* pEntity, char* key, char* value,
                 ZEBDiscoverySDKRequest* request) :
        mSelf(self),
        mpEntity(pEntity),
        mpKey(key),
        mpValue(value),
        mpRequest(request),
        mOwed(self.mOwed, Completion::Post, key, request) {}
    ~CompletePost() {
        if (!mHasFailed || !mOwed.isOwed())
            return;
        HostString(mpKey, FreeHostString{&mSelf}).reset();
        HostString(mpValue, FreeHostString{&mSelf}).reset();
    }
    CompletePost(const CompletePost&) = delete;
    CompletePost& operator=(const CompletePost&) = delete;

    void failed() { mHasFailed = true; }
    void caught(const Failure& failure) {
        if (mOwed.isOwed())
            mSelf.entityPostComplete(mpEntity, mpKey, mpValue, mpRequest, failure.code);
    }

private:
    ZEBDiscovererImpl& mSelf;
    ZEBDiscovererEntity* mpEntity;
    char* mpKey;
    char* mpValue;
    ZEBDiscoverySDKRequest* mpRequest;
    OwedCompletion mOwed;
    /** The operation threw: what is still owed when this goes, nobody will send. */
    bool mHasFailed = false;
};

/** Reports that publishing failed, unless its result has been reported. */
class Barrier::CompletePublish {
public:
    CompletePublish(ZEBDiscovererImpl& self, ZEBDiscovererEntity* pEntity) :
        mSelf(self), mpEntity(pEntity), mOwed(self.mOwed, Completion::Publish, pEntity, nullptr) {}

    void caught(const Failure& failure) {
        if (mOwed.isOwed())
            mSelf.entityPublishComplete(mpEntity, failure.code);
    }

private:
    ZEBDiscovererImpl& mSelf;
    ZEBDiscovererEntity* mpEntity;
    OwedCompletion mOwed;
};

/** Reports that unpublishing failed, unless its result has been reported. */
class Barrier::CompleteUnpublish {
public:
    CompleteUnpublish(ZEBDiscovererImpl& self, ZEBDiscovererEntity* pEntity) :
        mSelf(self), mpEntity(pEntity), mOwed(self.mOwed, Completion::Unpublish, pEntity, nullptr) {}

    void caught(const Failure& failure) {
        if (mOwed.isOwed())
            mSelf.entityUnpublishComplete(mpEntity, failure.code);
    }

private:
    ZEBDiscovererImpl& mSelf;
    ZEBDiscovererEntity* mpEntity;
    OwedCompletion mOwed;
};

/** Gives the offered device back, so that the host never waits for it, also when what was thrown gets past
 * the barrier's inner layer; not again where the operation had done so, but for a host that threw at that. */
class Barrier::ReleaseDevice {
public:
    ReleaseDevice(ZEBDiscovererImpl& self, ZEBDiscovererDeviceProvider* pProvider,
                  const ZEBDeviceInfo* pDevice) :
        mSelf(self),
        mpProvider(pProvider),
        mpDevice(pDevice),
        mOwed(self.mOwed, Completion::Release, pDevice, nullptr) {}
    ~ReleaseDevice() {
        try {
            if (mHasFailed)
                release();
        } catch (...) { // NOLINT(bugprone-empty-catch): the first failure is the one that is told
        }
    }
    ReleaseDevice(const ReleaseDevice&) = delete;
    ReleaseDevice& operator=(const ReleaseDevice&) = delete;

    void failed() { mHasFailed = true; }
    void caught(const Failure&) { release(); }
    /** Does nothing a second time, even if the first one threw. */
    void release() {
        if (mOwed.isOwed() && !std::exchange(mHasReleased, true))
            mSelf.releaseDevice(mpProvider, mpDevice);
    }

private:
    ZEBDiscovererImpl& mSelf;
    ZEBDiscovererDeviceProvider* mpProvider;
    const ZEBDeviceInfo* mpDevice;
    OwedCompletion mOwed;
    bool mHasFailed = false;
    bool mHasReleased = false;
};

/** Tells the host that the discoverer has stopped, but after a DiscoveryException it only logs: the
 *  asymmetry is on purpose. */
class Barrier::StopOnStandardException {
public:
    StopOnStandardException(ZEBDiscovererImpl& self, auto&&...) : mSelf(self) {}

    void caught(const Failure& failure) {
        if (failure.cause == Failure::Cause::StandardException)
            mSelf.notifyStopped(failure.code);
    }

private:
    ZEBDiscovererImpl& mSelf;
};

/**
 * One entry point: the function that stands in the host's table for an operation.
 * Everything about it is in its template arguments, one row of the table.
 */
template <auto Method, FixedText Name, FixedText FailureText, class Outcome, OutOfMemoryLine Line>
struct Entry;

template <class R, class... Args, R (ZEBDiscovererImpl::*Method)(Args...), FixedText Name,
          FixedText FailureText, class Outcome, OutOfMemoryLine Line>
struct Entry<Method, Name, FailureText, Outcome, Line> {
    static_assert((std::is_scalar_v<Args> && ...), "only plain C values cross the boundary");

    static constexpr Operation kOperation{Name.chars, FailureText.chars, Line};

    static R call(ZEBDiscoverer* handle, Args... args) noexcept {
        try {
            ZEBDiscovererImpl& self = Barrier::fromHandle(handle);
            Outcome outcome(self, args...);
            try {
                return (self.*Method)(args...);
            } catch (...) {
                if constexpr (requires { outcome.failed(); })
                    outcome.failed();
                return outcome.caught(Barrier::logFailure(self, kOperation));
            }
        } catch (...) {
            Barrier::lastResort(kOperation.failure);
            if constexpr (!std::is_void_v<R>)
                return Outcome::escaped;
        }
    }
};

/** An entry point without the inner layer. */
template <auto Method, FixedText FailureText>
struct BareEntry;

template <class R, class... Args, R (ZEBDiscovererImpl::*Method)(Args...), FixedText FailureText>
struct BareEntry<Method, FailureText> {
    static_assert((std::is_scalar_v<Args> && ...), "only plain C values cross the boundary");

    static R call(ZEBDiscoverer* handle, Args... args) noexcept {
        try {
            return (Barrier::fromHandle(handle).*Method)(args...);
        } catch (...) {
            Barrier::lastResort(FailureText.chars);
            return R();
        }
    }
};

} // namespace zebdiscovery
