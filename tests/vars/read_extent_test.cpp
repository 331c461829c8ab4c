// What a read of a type that cannot be transferred takes. What the others take is in read_list_test.cpp.
#include "vars/read_extent.h"

#include <gtest/gtest.h>

namespace ac500::test {
namespace {

TEST(ReadExtent, IsAllZeroForTypesThatAreNotServed) {
    for (int code : {-1, 0, 12, 19, 20, 22}) {
        ControlInformationM info = ControlInformationM();
        info.dataType = code;
        info.address = 44;
        const ReadExtent extent = readExtent(info, 3);
        EXPECT_FALSE(extent.transferable) << code;
        EXPECT_EQ(extent.dataType, 0) << code;
        EXPECT_EQ(extent.startByte, 0) << code;
        EXPECT_EQ(extent.lengthBytes, 0) << code;
    }
}

}  // namespace
}  // namespace ac500::test
