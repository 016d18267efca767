/*
 * The utilities that a host lends to its discoverers: a string generator and a
 * string parser. The host fills the record when setContext asks for it (callback
 * fillUtils); every slot may be null. The record is valid until the discoverer is
 * destroyed. Slots are called on the thread that uses the parser or generator,
 * which in this system is the host's own. The two that end a parser or generator
 * must not throw: they are called by destructors, so the process would end.
 */
#ifndef ZEBDISCOVERY_UTILS_H
#define ZEBDISCOVERY_UTILS_H

#include "zebdiscovery/layout.h"
#include "zebdiscovery/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A host object that builds a string; ended by destroyGenerator. */
typedef struct ZEBDiscoverySDKGenerator ZEBDiscoverySDKGenerator;

/** A host object that reads a string; ended by destroyParser. */
typedef struct ZEBDiscoverySDKParser ZEBDiscoverySDKParser;

/** Any function; the type of the slots that nobody calls. */
typedef void (*ZEBDiscoveryUnusedSlot)(void);

/**
 * The meaning of the operations is the host's; this record fixes their shapes.
 * Offsets are those of a 32-bit target; elsewhere slots are pointer-sized.
 */
typedef struct ZEBDiscoverySDKUtils {
    /** 0: first argument of the two factories. Owned by the host. */
    void* context;
    /** 4: make a generator. On success *out is set and belongs to the caller; on error it stays null. */
    ZEBDiscoverySDKError (*createGenerator)(void* context, ZEBDiscoverySDKGenerator** out);
    /** 8, 12: add something to the generator; both arguments stay the caller's. */
    ZEBDiscoverySDKError (*generatorOperation8)(ZEBDiscoverySDKGenerator* generator, const void* first,
                                                const void* second);
    ZEBDiscoverySDKError (*generatorOperation12)(ZEBDiscoverySDKGenerator* generator, const void* first,
                                                 const void* second);
    /** 16: add length bytes to the generator; they stay the caller's. */
    ZEBDiscoverySDKError (*generatorBytes)(ZEBDiscoverySDKGenerator* generator, const uint8_t* bytes,
                                           uint16_t length);
    /** 20 */
    ZEBDiscoveryUnusedSlot reserved20;
    /** 24: read one pointer-sized value of the generator, for example its text. */
    ZEBDiscoverySDKError (*generatorResult)(ZEBDiscoverySDKGenerator* generator, uintptr_t* out);
    /** 28: end the generator. */
    void (*destroyGenerator)(ZEBDiscoverySDKGenerator* generator);
    /** 32: make a parser for a NUL-terminated text, which stays the caller's. As createGenerator. */
    ZEBDiscoverySDKError (*createParser)(void* context, const char* text, ZEBDiscoverySDKParser** out);
    /** 36: a pointer-sized value of the parsed text, by key. */
    ZEBDiscoverySDKError (*parserValue)(ZEBDiscoverySDKParser* parser, const char* key, uintptr_t* out);
    /** 40: a 32-bit number of the parsed text, by key. */
    ZEBDiscoverySDKError (*parserInt32)(ZEBDiscoverySDKParser* parser, const char* key, int32_t* out);
    /** 44: a 16-bit number of the parsed text, by key. */
    ZEBDiscoverySDKError (*parserInt16)(ZEBDiscoverySDKParser* parser, const char* key, int16_t* out);
    /** 48 */
    ZEBDiscoveryUnusedSlot reserved48;
    /** 52: a number that answers for the key, -1 for none. */
    int32_t (*parserQuery)(ZEBDiscoverySDKParser* parser, const char* key);
    /** 56: end the parser. */
    void (*destroyParser)(ZEBDiscoverySDKParser* parser);
} ZEBDiscoverySDKUtils;

ZEB_LAYOUT_IS_POINTERS(ZEBDiscoverySDKUtils, 15);

#ifdef __cplusplus
}
#endif

#endif
