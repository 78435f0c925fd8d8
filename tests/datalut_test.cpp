// CRC-16 of data LUTs, the header builder and the identity of two LUTs.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "HuevaneCrc16.h"
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
    EXPECT_EQ(0xFFD8, crcOf(std::string("123456789\0", 10)));
    EXPECT_EQ(0xFFBC, crcOf(std::string(1, '\0')));
    // Nothing is read for an empty or negative length.
    EXPECT_EQ(0xFF25, HuevaneImplUtil::getCrc16(nullptr, 0));
    EXPECT_EQ(0xFF25, HuevaneImplUtil::getCrc16(nullptr, -5));
}

// Every walk behind getCrc16 (lookup tables, and the carry-less folds where the CPU has them) must
// agree with the plain byte-wise walk at every length, from any register, and read nothing past
// the end: the bytes end at an unreadable page.
TEST(Crc16, EveryWalkEqualsTheByteWiseWalk) {
    std::mt19937 random(7);
    std::string bytes(3 << 20, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    const GuardedBytes guarded(bytes);
    auto byteWise = [](const unsigned char* data, size_t length, unsigned int crc) {
        for (size_t i = 0; i < length; i++) crc = huevane::CRC16_TABLE[crc ^ data[i]];
        return crc;
    };
    std::vector<decltype(&huevane::walkCrc16Tables)> walks = {huevane::walkCrc16Tables};
    if (huevane::hasCrc16Fold()) walks.push_back(huevane::walkCrc16Fold);
    if (huevane::hasCrc16FoldWide()) walks.push_back(huevane::walkCrc16FoldWide);
    for (auto walk : walks) {
        for (size_t length = 0; length <= 600; length++) {
            const unsigned char* tail = guarded.data() + guarded.size() - length;
            const unsigned int crc = static_cast<uint8_t>(random());
            ASSERT_EQ(byteWise(tail, length, crc), walk(tail, length, crc)) << length;
        }
        for (size_t length : {size_t{1} << 20, bytes.size() - 5}) {
            const unsigned char* tail = guarded.data() + guarded.size() - length;
            EXPECT_EQ(byteWise(tail, length, 0xDA), walk(tail, length, 0xDA)) << length;
        }
    }
    EXPECT_EQ(~byteWise(guarded.data(), bytes.size(), 0xDA) & 0xFFFF,
              HuevaneImplUtil::getCrc16(guarded.data(), static_cast<int32_t>(bytes.size())));
}

TEST(DataHeader, WireBytes) {
    EXPECT_EQ(hexBytes("DA 01 0D 00 0C 00 FF FF FF FF BC FF"),
              headerBytes(huevane::getDataHeader(1, "")));
    // 65 523 + 13 no longer fits 16 bits; the packer refuses such a LUT later.
    EXPECT_EQ(0, huevane::getDataHeader(4, std::string(65523, 'a')).total_size);
}

TEST(DataHeader, IdentityIsIdAndAttributesOnly) {
    const HuevaneDataLut base{huevane::getDataHeader(8, "abc", 1, 2, 3, 4), "abc"};
    HuevaneDataLut longer{huevane::getDataHeader(8, "abcdef", 1, 2, 3, 4), "abcdef"};
    longer.first.magic = 0;
    EXPECT_TRUE(HuevaneImplementation::compareDataLut(base, longer));

    for (int field = 0; field < 5; field++) {
        HuevaneDataLut other = base;
        uint8_t* bytes[] = {&other.first.id, &other.first.attr0, &other.first.attr1,
                            &other.first.attr2, &other.first.attr3};
        (*bytes[field])++;
        EXPECT_FALSE(HuevaneImplementation::compareDataLut(base, other)) << "field " << field;
    }
}

}  // namespace
