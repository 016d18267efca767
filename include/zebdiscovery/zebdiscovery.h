/*
 * The contract between a host and a discoverer plug-in.
 *
 * A host loads the plug-in with dlopen, looks up ZEBDiscovererInitialize with the
 * symbol version DISCOVERY_1.0 (dlvsym), and then, on one thread:
 *
 *   1. ZEBDiscovererInitialize, with the tables of interface.h and callbacks.h
 *   2. setContext, before any other entry point
 *   3. init, setProperty (as wanted), start
 *   4. for each device: getDeviceInterest, offerDevice; later removeDevice
 *      before each wait: getMultipleEventHandlesEx
 *      after it: handleSingleEvent, handleTimeoutForEventHandle, handleEntityTimeout
 *   5. stop, destroyDiscoverer, dlclose
 */
#ifndef ZEBDISCOVERY_ZEBDISCOVERY_H
#define ZEBDISCOVERY_ZEBDISCOVERY_H

#include "zebdiscovery/callbacks.h"
#include "zebdiscovery/interface.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The symbol version of the function below. */
#define ZEBDISCOVERER_SYMBOL_VERSION "DISCOVERY_1.0"

/**
 * Make the discoverer [host-thread] [before-setContext].
 *
 * Copies the host's callbacks and fills the host's table of entry points, each
 * within the size in bytes that is given; a table of size 0 may be null. Returns
 * null, with nothing written, when the discoverer can't be allocated. The
 * discoverer belongs to the plug-in; slot destroyDiscoverer ends it.
 *
 * This is the one function that may throw (there is no barrier yet): std::bad_alloc,
 * a runtime error of the plug-in's C++ library, or what the host's own log callback
 * throws. Nothing is left behind then but entry points in the table, which lead
 * nowhere.
 */
typedef ZEBDiscoverer* (*ZEBDiscovererInitializeFunction)(ZEBDiscovererInterface* interfaceTable,
                                                          size_t interfaceSize,
                                                          const ZEBDiscovererCallbacks* callbackTable,
                                                          size_t callbackSize);

ZEBDiscoverer* ZEBDiscovererInitialize(ZEBDiscovererInterface* interfaceTable, size_t interfaceSize,
                                       const ZEBDiscovererCallbacks* callbackTable, size_t callbackSize);

#ifdef __cplusplus
}
#endif

#endif
