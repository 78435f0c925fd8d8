// CRC-16 of data LUTs, the header builder and the identity of two LUTs.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "HuevaneImplUtil.h"
#include "HuevaneImplementation.h"
#include "HuevaneTestSupport.h"

namespace {

unsigned short crcOf(const std::string& bytes) {
    return HuevaneImplUtil::getCrc16(reinterpret_cast<const unsigned char*>(bytes.data()),
                                     static_cast<int32_t>(bytes.size()));
}

TEST(Crc16, CheckValues) {
    EXPECT_EQ(0xFFC6, crcOf("123456789"));
    EXPECT_EQ(0xFFD8, crcOf(std::string("123456789", 10)));
    EXPECT_EQ(0xFFBC, crcOf(std::string(1, '\0')));
    // Nothing is read for an empty or negative length.
    EXPECT_EQ(0xFF25, HuevaneImplUtil::getCrc16(nullptr, 0));
    EXPECT_EQ(0xFF25, HuevaneImplUtil::getCrc16(nullptr, -5));
}

// getCrc16 folds sixteen bytes at a time; it must agree with the plain byte-wise walk over the
// published table at every length. (The check values above pin the table itself.)
TEST(Crc16, FoldedEqualsByteWise) {
    crcOf("x");
    std::mt19937 random(7);
    std::vector<unsigned char> bytes(300);
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
    for (int32_t length = 1; length <= 300; length++) {
        unsigned int crc = 0x00DA;
        for (int32_t i = 0; i < length; i++) {
            crc = HuevaneImplUtil::mCrcTable[(crc ^ bytes[i]) & 0xFF] ^ (crc >> 8);
        }
        ASSERT_EQ(~crc & 0xFFFF, HuevaneImplUtil::getCrc16(bytes.data(), length)) << length;
    }
}

TEST(DataHeader, WireBytes) {
    EXPECT_EQ(hexBytes("DA 01 0D 00 0C 00 FF FF FF FF BC FF"),
              headerBytes(HuevaneImplUtil::getDataHeader(1, "")));
    // 65 523 + 13 no longer fits 16 bits; the packer refuses such a LUT later.
    EXPECT_EQ(0, HuevaneImplUtil::getDataHeader(4, std::string(65523, 'a')).total_size);
}

TEST(DataHeader, IdentityIsIdAndAttributesOnly) {
    DeviceTree device;
    HuevaneImplementation engine(0);
    const HuevaneDataLut base{HuevaneImplUtil::getDataHeader(8, "abc", 1, 2, 3, 4), "abc"};
    HuevaneDataLut longer{HuevaneImplUtil::getDataHeader(8, "abcdef", 1, 2, 3, 4), "abcdef"};
    longer.first.magic = 0;
    EXPECT_TRUE(engine.compareDataLut(base, longer));

    for (int field = 0; field < 5; field++) {
        HuevaneDataLut other = base;
        uint8_t* bytes[] = {&other.first.id, &other.first.attr0, &other.first.attr1,
                            &other.first.attr2, &other.first.attr3};
        (*bytes[field])++;
        EXPECT_FALSE(engine.compareDataLut(base, other)) << "field " << field;
    }
}

}  // namespace
