#include "common/DiscoveryException.h"
#include "common/StringGenerator.h"
#include "common/StringParser.h"
#include "tests/support/Assertions.h"
#include "tests/support/Call.h"

#include <cstdint>
#include <limits>
#include <stdexcept>

using namespace testing;
using zebdiscovery::DiscoveryException;
using zebdiscovery::StringGenerator;
using zebdiscovery::StringParser;
using zebtest::Argument;
using zebtest::Call;

namespace {

/** A host's utilities that record their calls. */
struct Utils {
    Utils() {
        gCalls.clear();
        gError = 0;
        gMakesObject = true;
    }
    ~Utils() { gCalls.clear(); }

    static std::vector<Call> gCalls;
    static ZEBDiscoverySDKError gError;
    static bool gMakesObject;
    static int gContext, gParserObject, gGeneratorObject;

    static ZEBDiscoverySDKParser* parser() {
        return reinterpret_cast<ZEBDiscoverySDKParser*>(&gParserObject);
    }
    static ZEBDiscoverySDKGenerator* generator() {
        return reinterpret_cast<ZEBDiscoverySDKGenerator*>(&gGeneratorObject);
    }

    template <class Object>
    static ZEBDiscoverySDKError make(Object* object, Object** out) {
        gCalls.back().arguments.push_back(*out == nullptr ? "out is null" : "out is set");
        if (gMakesObject)
            *out = object;
        return gError;
    }

    static ZEBDiscoverySDKUtils record() {
        ZEBDiscoverySDKUtils utils{};
        utils.context = &gContext;
        utils.createGenerator = [](void* context, ZEBDiscoverySDKGenerator** out) {
            gCalls.push_back({"createGenerator", {context}});
            return make(generator(), out);
        };
        utils.generatorOperation8 = [](ZEBDiscoverySDKGenerator* g, const void* a, const void* b) {
            gCalls.push_back({"generatorOperation8", {g, a, b}});
            return gError;
        };
        utils.generatorOperation12 = [](ZEBDiscoverySDKGenerator* g, const void* a, const void* b) {
            gCalls.push_back({"generatorOperation12", {g, a, b}});
            return gError;
        };
        utils.generatorBytes = [](ZEBDiscoverySDKGenerator* g, const uint8_t* bytes, uint16_t length) {
            gCalls.push_back({"generatorBytes", {g, static_cast<const void*>(bytes), length}});
            return gError;
        };
        utils.generatorResult = [](ZEBDiscoverySDKGenerator* g, uintptr_t* out) {
            gCalls.push_back({"generatorResult", {g}});
            *out = 4711;
            return gError;
        };
        utils.destroyGenerator = [](ZEBDiscoverySDKGenerator* g) {
            gCalls.push_back({"destroyGenerator", {g}});
        };
        utils.createParser = [](void* context, const char* text, ZEBDiscoverySDKParser** out) {
            gCalls.push_back({"createParser", {context, text}});
            return make(parser(), out);
        };
        utils.parserValue = [](ZEBDiscoverySDKParser* p, const char* key, uintptr_t* out) {
            gCalls.push_back({"parserValue", {p, key}});
            *out = 4712;
            return gError;
        };
        utils.parserInt32 = [](ZEBDiscoverySDKParser* p, const char* key, int32_t* out) {
            gCalls.push_back({"parserInt32", {p, key}});
            *out = -70000;
            return gError;
        };
        utils.parserInt16 = [](ZEBDiscoverySDKParser* p, const char* key, int16_t* out) {
            gCalls.push_back({"parserInt16", {p, key}});
            *out = -700;
            return gError;
        };
        utils.parserQuery = [](ZEBDiscoverySDKParser* p, const char* key) -> int32_t {
            gCalls.push_back({"parserQuery", {p, key}});
            return 12;
        };
        utils.destroyParser = [](ZEBDiscoverySDKParser* p) { gCalls.push_back({"destroyParser", {p}}); };
        return utils;
    }

    ZEBDiscoverySDKUtils utils = record();
};

std::vector<Call> Utils::gCalls;
ZEBDiscoverySDKError Utils::gError;
bool Utils::gMakesObject;
int Utils::gContext, Utils::gParserObject, Utils::gGeneratorObject;

class AStringParser : public Test, protected Utils {};
class AStringGenerator : public Test, protected Utils {};

template <class Make>
void expectFailure(Make make, const char* message, int code) {
    try {
        make();
        FAIL() << "nothing thrown";
    } catch (const DiscoveryException& e) {
        EXPECT_STREQ(e.what(), message);
        EXPECT_EQ(e.error(), code);
    }
}

TEST_F(AStringParser, MakesTheHostsParserAndEndsIt) {
    { const StringParser made(&utils, "the text"); }

    EXPECT_THAT(gCalls, ElementsAre(Call{"createParser", {&gContext, "the text", "out is null"}},
                                    Call{"destroyParser", {parser()}}));
}

TEST_F(AStringParser, LeavesTheHostsParserWhenItCantBeEnded) {
    utils.destroyParser = nullptr;

    { const StringParser made(&utils, "the text"); }

    EXPECT_EQ(gCalls.size(), 1U);
}

TEST_F(AStringParser, IsNotMadeWithoutUtilities) {
    expectFailure([] { StringParser(nullptr, "x"); }, "Unable to create Parser, Utils structure is NULL", 1);
}

TEST_F(AStringParser, IsNotMadeByAHostThatHasNone) {
    const ZEBDiscoverySDKUtils zeroed{};

    expectFailure([&] { StringParser(&zeroed, "x"); },
                  "Unable to create Parser, the operation is not supported", 9);
}

TEST_F(AStringParser, IsNotMadeWhenTheHostFails) {
    gError = 44;
    gMakesObject = false;

    expectFailure([&] { StringParser(&utils, "x"); }, "Error when trying to create Parser", 44);
    EXPECT_EQ(gCalls.size(), 1U) << "nothing to end";
}

TEST_F(AStringParser, StopsWhenTheHostFailsAndMakesOne) {
    gError = 44;

    EXPECT_ASSERTION(StringParser(&utils, "x"), "common/StringParser\\.cpp", "!pParser");
}

TEST_F(AStringParser, StopsWhenTheHostMakesNoneAndSaysItDid) {
    gMakesObject = false;

    EXPECT_ASSERTION(StringParser(&utils, "x"), "common/StringParser\\.cpp", "false");
}

TEST_F(AStringParser, PassesQueriesOn) {
    const StringParser made(&utils, "x");
    ZEBDiscoverySDKError e1 = 1, e2 = 1, e3 = 1, e4 = 1;
    gCalls.clear();

    EXPECT_EQ(made.value("a", &e1), 4712U);
    EXPECT_EQ(made.int32("b", &e2), -70000);
    EXPECT_EQ(made.int16("c", &e3), -700);
    EXPECT_EQ(made.query("d", &e4), 12);

    EXPECT_THAT(gCalls,
                ElementsAre(Call{"parserValue", {parser(), "a"}}, Call{"parserInt32", {parser(), "b"}},
                            Call{"parserInt16", {parser(), "c"}}, Call{"parserQuery", {parser(), "d"}}));
    EXPECT_THAT((std::vector<int>{e1, e2, e3, e4}), Each(0));
}

TEST_F(AStringParser, ReportsTheHostsErrors) {
    const StringParser made(&utils, "x");
    ZEBDiscoverySDKError e1 = 0, e2 = 0, e3 = 0;
    gError = 44;

    made.value("a", &e1);
    made.int32("b", &e2);
    made.int16("c", &e3);

    EXPECT_THAT((std::vector<int>{e1, e2, e3}), Each(44));
}

TEST_F(AStringParser, NeedsNowhereToPutErrors) {
    const StringParser made(&utils, "x");

    EXPECT_EQ(made.value("a", nullptr), 4712U);
    EXPECT_EQ(made.int32("b", nullptr), -70000);
    EXPECT_EQ(made.int16("c", nullptr), -700);
    EXPECT_EQ(made.query("d", nullptr), 12);
}

TEST_F(AStringParser, HasDefaultsForWhatTheHostHasNot) {
    const StringParser made(&utils, "x");
    utils.parserValue = nullptr;
    utils.parserInt32 = nullptr;
    utils.parserInt16 = nullptr;
    utils.parserQuery = nullptr;
    ZEBDiscoverySDKError e1 = 0, e2 = 0, e3 = 0, e4 = 0;

    EXPECT_EQ(made.value("a", &e1), 0U);
    EXPECT_EQ(static_cast<uint32_t>(made.int32("b", &e2)), 0x80000000U);
    EXPECT_EQ(static_cast<uint16_t>(made.int16("c", &e3)), 0x8000U);
    EXPECT_EQ(made.query("d", &e4), -1);

    EXPECT_THAT((std::vector<int>{e1, e2, e3, e4}), Each(9));
    EXPECT_EQ(made.value("a", nullptr), 0U);
    EXPECT_EQ(made.int32("b", nullptr), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(made.int16("c", nullptr), std::numeric_limits<int16_t>::min());
    EXPECT_EQ(made.query("d", nullptr), -1);
}

TEST_F(AStringParser, EndsTheProcessWhenTheHostThrowsAsItEnds) {
    utils.destroyParser = [](ZEBDiscoverySDKParser*) { throw std::runtime_error("no end"); };

    EXPECT_DEATH(StringParser(&utils, "x"), "terminate");
}

TEST_F(AStringGenerator, MakesTheHostsGeneratorAndEndsIt) {
    { const StringGenerator made(&utils); }

    EXPECT_THAT(gCalls, ElementsAre(Call{"createGenerator", {&gContext, "out is null"}},
                                    Call{"destroyGenerator", {generator()}}));
}

TEST_F(AStringGenerator, LeavesTheHostsGeneratorWhenItCantBeEnded) {
    utils.destroyGenerator = nullptr;

    { const StringGenerator made(&utils); }

    EXPECT_EQ(gCalls.size(), 1U);
}

TEST_F(AStringGenerator, IsNotMadeWithoutUtilities) {
    expectFailure([] { StringGenerator(nullptr); }, "Unable to create Generator, Utils structure is NULL", 1);
}

TEST_F(AStringGenerator, IsNotMadeByAHostThatHasNone) {
    const ZEBDiscoverySDKUtils zeroed{};

    expectFailure([&] { StringGenerator{&zeroed}; },
                  "Unable to create Generator, the operation is not supported", 9);
}

TEST_F(AStringGenerator, IsNotMadeWhenTheHostFails) {
    gError = 44;
    gMakesObject = false;

    expectFailure([&] { StringGenerator{&utils}; }, "Error when trying to create Generator", 44);
    EXPECT_EQ(gCalls.size(), 1U) << "nothing to end";
}

TEST_F(AStringGenerator, StopsWhenTheHostFailsAndMakesOne) {
    gError = 44;

    EXPECT_ASSERTION(StringGenerator{&utils}, "common/StringGenerator\\.cpp", "!pGenerator");
}

TEST_F(AStringGenerator, StopsWhenTheHostMakesNoneAndSaysItDid) {
    gMakesObject = false;

    EXPECT_ASSERTION(StringGenerator{&utils}, "common/StringGenerator\\.cpp", "false");
}

TEST_F(AStringGenerator, PassesOperationsOn) {
    StringGenerator made(&utils);
    gCalls.clear();
    const int a = 1, b = 2;
    const uint8_t bytes[] = {1, 2, 3};
    gError = 44;
    ZEBDiscoverySDKError error = 0;

    EXPECT_EQ(made.operation8(&a, &b), 44);
    EXPECT_EQ(made.operation12(&b, &a), 44);
    EXPECT_EQ(made.bytes(bytes, 65535), 44);
    EXPECT_EQ(made.result(&error), 4711U);

    EXPECT_EQ(error, 44);
    EXPECT_THAT(gCalls,
                ElementsAre(Call{"generatorOperation8", {generator(), &a, &b}},
                            Call{"generatorOperation12", {generator(), &b, &a}},
                            Call{"generatorBytes", {generator(), static_cast<const void*>(bytes), 65535}},
                            Call{"generatorResult", {generator()}}));
}

TEST_F(AStringGenerator, HasDefaultsForWhatTheHostHasNot) {
    StringGenerator made(&utils);
    utils.generatorOperation8 = nullptr;
    utils.generatorOperation12 = nullptr;
    utils.generatorBytes = nullptr;
    utils.generatorResult = nullptr;
    const uint8_t bytes[] = {1};
    ZEBDiscoverySDKError error = 0;

    EXPECT_EQ(made.operation8(nullptr, nullptr), 9);
    EXPECT_EQ(made.operation12(nullptr, nullptr), 9);
    EXPECT_EQ(made.bytes(bytes, 1), 9);
    EXPECT_EQ(made.result(&error), 0U);
    EXPECT_EQ(error, 9);
    EXPECT_EQ(made.result(nullptr), 0U);
}

TEST_F(AStringGenerator, EndsTheProcessWhenTheHostThrowsAsItEnds) {
    utils.destroyGenerator = [](ZEBDiscoverySDKGenerator*) { throw std::runtime_error("no end"); };

    EXPECT_DEATH(StringGenerator{&utils}, "terminate");
}

} // namespace
