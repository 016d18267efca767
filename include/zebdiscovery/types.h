/*
 * Values that cross the boundary between a host and a discoverer: error codes,
 * log severities, interest levels, handles, timeouts and the opaque objects.
 *
 * All of these headers compile as C and as C++.
 */
#ifndef ZEBDISCOVERY_TYPES_H
#define ZEBDISCOVERY_TYPES_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Result code of an operation. The named values are the ones a discoverer
 * produces itself; an error that a host callback returned is passed on
 * unchanged, and a failing wake-up pipe reports its errno here, so a host must
 * be ready for any other value.
 */
typedef int32_t ZEBDiscoverySDKError;

enum {
    /** Success. */
    ZEBDiscoverySDKErrorNone = 0,
    /** A required argument or record is missing. */
    ZEBDiscoverySDKErrorInvalidParameter = 1,
    /** An allocation failed, the host's own string allocation included. */
    ZEBDiscoverySDKErrorOutOfMemory = 3,
    /** The operation, key or callback does not exist here. */
    ZEBDiscoverySDKErrorNotImplemented = 9,
    /** The request's entity no longer answers. */
    ZEBDiscoverySDKErrorCancelled = 11,
    /** A standard exception ended the operation. */
    ZEBDiscoverySDKErrorFailed = 15,
    /** Something that is no standard exception ended the operation. */
    ZEBDiscoverySDKErrorUnexpected = 23
};

/**
 * Severity of a log line; lower is more severe. A line is only handed over when
 * the host's level query (isLogLevelEnabled) says that its severity is wanted.
 */
enum {
    /** The discoverer can't give the host its handles. */
    ZEBDiscoveryLogSeverityFatal = 0,
    /** Errors, everything caught at the boundary included. */
    ZEBDiscoveryLogSeverityError = 10,
    /** Notable events, such as a phone found. */
    ZEBDiscoveryLogSeverityInfo = 30,
    /** Detailed tracing. */
    ZEBDiscoveryLogSeverityDebug = 80
};

/** A file descriptor the host waits on: for reading and, on request, for writing. */
typedef int ZEBDiscovererEventHandle;

enum {
    /** No handle; also the entry that ends an array of handles. */
    ZEBDiscovererNoEventHandle = -1
};

/** A timer's duration in microseconds (µs). 0 fires at once, -1 cancels the timer. */
typedef int32_t ZEBDiscoverySDKTimeoutMicroseconds;

enum { ZEBDiscoverySDKTimeoutCancel = -1 };

/** How strongly a discoverer claims a device; smaller is stronger. */
typedef int32_t ZEBDeviceInterestLevel;

enum {
    /** Not interested; also the answer of an operation that failed. */
    ZEBDeviceInterestNone = 100
};

/** A discoverer. Made by ZEBDiscovererInitialize, ended by slot destroyDiscoverer. */
typedef struct ZEBDiscoverer ZEBDiscoverer;

/**
 * One thing that was discovered, for example a phone. The discoverer owns it; the
 * host may pass it back until it has called destroyEntity for it.
 */
typedef struct ZEBDiscovererEntity ZEBDiscovererEntity;

/** One of the host's device providers, for example the one named "usb". */
typedef struct ZEBDiscovererDeviceProvider ZEBDiscovererDeviceProvider;

/** A fetch or post that waits for its completion. Opaque to the discoverer. */
typedef struct ZEBDiscoverySDKRequest ZEBDiscoverySDKRequest;

#ifdef __cplusplus
}
#endif

#endif
