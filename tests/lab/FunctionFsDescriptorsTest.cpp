#include "phones/functionfs/FunctionFsDescriptors.h"

#include "phones/Catalogue.h"

#include <gmock/gmock.h>

namespace {

using Bytes = std::vector<std::uint8_t>;
using testing::ElementsAre;

TEST(FunctionFsDescriptors, FrameAnAccessoryFaceForFullAndHighSpeed) {
    const zebphones::UsbFace face{.interfaces = {{0, 255, 255, 0, 2}}};

    const Bytes bytes = zebphones::functionFsDescriptors(face);

    EXPECT_THAT(bytes, ElementsAre(3, 0, 0, 0,    // magic of the second version
                                   66, 0, 0, 0,   // the length of it all
                                   0xc3, 0, 0, 0, // both speeds; requests to the device come to ep0 too
                                   3, 0, 0, 0,    // descriptors for full speed
                                   3, 0, 0, 0,    // and for high speed
                                   9, 4, 0, 0, 2, 255, 255, 0, 0, //
                                   7, 5, 0x81, 2, 64, 0, 0,       //
                                   7, 5, 0x02, 2, 64, 0, 0,       //
                                   9, 4, 0, 0, 2, 255, 255, 0, 0, //
                                   7, 5, 0x81, 2, 0, 2, 0,        //
                                   7, 5, 0x02, 2, 0, 2, 0));
}

TEST(FunctionFsDescriptors, CountAssociationsInterfacesAndEndpoints) {
    const Bytes bytes = zebphones::functionFsDescriptors(zebphones::loadPhone("rndis").normal);

    // One association, two interfaces, three endpoints.
    EXPECT_EQ(bytes.at(12), 6);
    EXPECT_EQ(bytes.at(16), 6);
}

TEST(FunctionFsStrings, AreNone) {
    EXPECT_THAT(zebphones::functionFsStrings(), ElementsAre(2, 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
}

} // namespace
