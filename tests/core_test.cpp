// The ground records against published and hand-computed values: CRC-16, the data-LUT identity,
// the node table, matrix texts, the parcel's size rule and its reader.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "HuevaneCrc16.h"
#include "HuevaneImplUtil.h"
#include "HuevaneImplementation.h"
#include "HuevaneMatrixText.h"
#include "HuevaneNodeTable.h"
#include "HuevaneParcel.h"
#include "HuevaneParcelReader.h"
#include "HuevaneTestSupport.h"

namespace {

unsigned short crcOf(const std::string& bytes) {
    return HuevaneImplUtil::getCrc16(reinterpret_cast<const unsigned char*>(bytes.data()),
                                     static_cast<int32_t>(bytes.size()));
}

TEST(Crc16, CheckValues) {
    EXPECT_EQ(0xFFC6, crcOf("123456789"));
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

TEST(NodeTable, NamesAndIds) {
    const char* const names[] = {nullptr, "cgc17_enc",     "cgc17_con", "cgc_dither", "degamma",
                                 "gamma", "gamma_matrix",  "hsc48_lcg", "hsc",        "scl",
                                 "de",    "linear_matrix", "atc"};
    for (int id = 0; id < 13; id++) {
        EXPECT_STREQ(huevane::getNodeName(id), names[id]);
        if (names[id] != nullptr) {
            EXPECT_EQ(huevane::getNodeId(names[id]), uint32_t(id));
        }
        EXPECT_EQ(huevane::isMatrixNode(id), id == 6 || id == 11) << id;
    }
    for (int64_t id : {-1, 13, 255}) EXPECT_EQ(huevane::getNodeName(id), nullptr) << id;
    for (const char* name : {"Gamma", "gamma ", "", "mode"}) {
        EXPECT_EQ(huevane::getNodeId(name), 0u) << name;
    }
    EXPECT_EQ(huevane::getNodeLabel(4), "degamma");
    EXPECT_EQ(huevane::getNodeLabel(214), "node 214");
}

TEST(MatrixText, EveryRejectionHasItsReason) {
    const std::string fifteen = "1,1,2,3,4,5,6,7,8,9,10,11,12,13,14,15";
    const struct {
        std::string text;
        huevane::MatrixTextRead read;
    } cases[] = {
            {"", huevane::MATRIX_TEXT_EMPTY},
            {"1", huevane::MATRIX_TEXT_FIELD_COUNT},
            {fifteen, huevane::MATRIX_TEXT_FIELD_COUNT},
            {fifteen + ",16,17", huevane::MATRIX_TEXT_FIELD_COUNT},
            {fifteen + ",one", huevane::MATRIX_TEXT_NOT_A_NUMBER},
            {fifteen + ",", huevane::MATRIX_TEXT_FIELD_COUNT},
            {fifteen + ",,", huevane::MATRIX_TEXT_NOT_A_NUMBER},
            {fifteen + ",2147483648", huevane::MATRIX_TEXT_OUT_OF_RANGE},
            {fifteen + ",-2147483649", huevane::MATRIX_TEXT_OUT_OF_RANGE},
            {fifteen + ",2147483647", huevane::MATRIX_TEXT_OK},
            {fifteen + ",-2147483648\n", huevane::MATRIX_TEXT_OK},
            {"0," + fifteen.substr(2) + ",16,", huevane::MATRIX_TEXT_OK},
    };
    for (const auto& c : cases) {
        bool enabled = true;
        huevane::mat4 matrix{};
        EXPECT_EQ(huevane::readMatrixText(c.text, &enabled, &matrix), c.read) << c.text;
    }
    // "-2147483648," is the longest field the writer makes.
    const float extreme[16] = {-40000, -40000, -40000, -40000, -40000, -40000, -40000, -40000,
                               -40000, -40000, -40000, -40000, -40000, -40000, -40000, -40000};
    EXPECT_EQ(huevane::getMatrixTextFromFloats(extreme, 16).size(), huevane::MATRIX_TEXT_MAX_LENGTH);
}

// The floor and the header's 12 bytes show in EngineTest; here the ends of the ranges.
TEST(ParcelRule, CoefSizeSaturatesAndTheLimitIsSixteenBits) {
    EXPECT_EQ(getPvxCoefSize(int64_t{INT32_MAX} * 3, 4096), INT32_MAX);
    EXPECT_EQ(getPvxParcelLimit(4136), 4136);
    EXPECT_EQ(getPvxParcelLimit(70000), 65535);
}

// The worked example parcel, then one fault at a time: the reader names each.
TEST(ParcelReader, TheWorkedExampleAndItsFaults) {
    const std::vector<uint8_t> example = hexBytes(
            "DA 07 1C 00 0C 00 01 00 DA 00 00 00 DA 04 10 00 0C 00 01 00 FF FF 0A FF "
            "31 2C 32 00");
    const HuevaneDecodedParcel good = readParcel(example.data(), example.size());
    EXPECT_TRUE(good.consistent());
    ASSERT_EQ(good.entries.size(), 1u);
    EXPECT_EQ(good.entries[0].text, "1,2");
    EXPECT_EQ(good.entries[0].offset, 12u);
    const struct {
        size_t offset;
        uint8_t value;
        size_t size;
        const char* error;
    } faults[] = {
            {0, 0xDB, 28, "magic 0xDB, not 0xDA"},
            {22, 0x0B, 28, "crc 0xFF0B does not match the text (0xFF0A)"},
            {27, '3', 28, "text is not ended by a zero byte"},
            {14, 0x11, 28, "total_size 17 runs past the end of the parcel (16 bytes left)"},
            {14, 0x0C, 28, "total_size 12 cannot hold a header and a terminator"},
            {13, 0x00, 28, "node id 0 names no LUT node"},
            {0, 0xDA, 20, "truncated: total_size says 28 bytes, only 20 present"},
            {6, 0x00, 28, "16 bytes after the last entry fall inside total_size"},
    };
    for (const auto& f : faults) {
        std::vector<uint8_t> bytes = example;
        bytes[f.offset] = f.value;
        const HuevaneDecodedParcel read = readParcel(bytes.data(), f.size);
        std::vector<std::string> errors = read.errors;
        for (const HuevaneDecodedEntry& entry : read.entries) {
            errors.insert(errors.end(), entry.errors.begin(), entry.errors.end());
        }
        EXPECT_FALSE(read.consistent()) << f.error;
        EXPECT_NE(std::find(errors.begin(), errors.end(), f.error), errors.end()) << f.error;
    }
}

}  // namespace
