#include "HuevaneImplUtil.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "HuevaneCrc16.h"

std::string HuevaneImplUtil::mDeviceRoot;

namespace huevane {

namespace {

constexpr int CRC16_SLICES = 16;

// Polynomial and initial value both fit in 8 bits, so the register never leaves its low byte:
// each step is crc = T[crc ^ byte], and T is linear. Sixteen bytes therefore fold into sixteen
// independent lookups, T15[crc ^ b0] ^ T14[b1] ^ ... ^ T0[b15], where Tk is T applied k more
// times (k zero bytes). The tables take 4 KiB and stay in the L1 cache; the result is the
// byte-wise loop's, about ten times faster.
struct Crc16Slices {
    uint8_t table[CRC16_SLICES][256];
};

constexpr Crc16Slices getCrc16Slices() {
    Crc16Slices slices{};
    for (unsigned int i = 0; i < 256; i++) {
        unsigned int c = i;
        for (int bit = 0; bit < 8; bit++) c = (c & 1) ? (c >> 1) ^ CRC16_POLY : c >> 1;
        slices.table[0][i] = static_cast<uint8_t>(c);
    }
    for (int k = 1; k < CRC16_SLICES; k++) {
        for (unsigned int i = 0; i < 256; i++) {
            slices.table[k][i] = slices.table[0][slices.table[k - 1][i]];
        }
    }
    return slices;
}

constexpr Crc16Slices CRC16_SLICED = getCrc16Slices();

}  // namespace

const uint8_t (&CRC16_TABLE)[256] = CRC16_SLICED.table[0];

unsigned int walkCrc16Tables(const unsigned char* data, size_t length, unsigned int crc) {
    const uint8_t(*t)[256] = CRC16_SLICED.table;
    size_t i = 0;
    for (; length - i >= CRC16_SLICES; i += CRC16_SLICES) {
        const unsigned char* b = data + i;
        // The fifteen lookups that do not need the register go first, so the loop-carried
        // chain is a single lookup and xor per sixteen bytes.
        unsigned int ahead = 0;
        for (int k = 1; k < CRC16_SLICES; k++) ahead ^= t[CRC16_SLICES - 1 - k][b[k]];
        // Keeps the compiler from re-associating the register's lookup into the middle of the
        // xor chain, which would make the whole chain loop-carried.
        __asm__("" : "+r"(ahead));
        crc = ahead ^ t[CRC16_SLICES - 1][crc ^ b[0]];
    }
    for (; i < length; i++) crc = t[0][crc ^ data[i]];
    return crc;
}

}  // namespace huevane

namespace {

constexpr unsigned short CRC16_EMPTY = 0xFF25;
// Below this the multiplier's setup costs more than the tables' lookups save.
constexpr int32_t CRC16_FOLD_MIN = 256;

}  // namespace

// Filled when the library is loaded, from a table built at compile time: engines created on
// several threads only ever read it.
std::vector<unsigned short> HuevaneImplUtil::mCrcTable(huevane::CRC16_TABLE,
                                                       huevane::CRC16_TABLE + 256);

void HuevaneImplUtil::genCrc16Table() {
    if (!mCrcTable.empty()) return;
    mCrcTable.assign(huevane::CRC16_TABLE, huevane::CRC16_TABLE + 256);
}

unsigned short HuevaneImplUtil::getCrc16(const unsigned char* data, int32_t length) {
    genCrc16Table();
    if (length < 1) return CRC16_EMPTY;
    const size_t count = static_cast<size_t>(length);
    // Short texts cost less through the tables than a fold's set-up.
    const bool folds = length >= CRC16_FOLD_MIN;
    unsigned int crc = huevane::CRC16_INIT;
    if (folds && huevane::hasCrc16FoldWide()) {
        crc = huevane::walkCrc16FoldWide(data, count, crc);
    } else if (folds && huevane::hasCrc16Fold()) {
        crc = huevane::walkCrc16Fold(data, count, crc);
    } else {
        crc = huevane::walkCrc16Tables(data, count, crc);
    }
    // The high byte of the register is always 0, so every result's high byte is 0xFF.
    return static_cast<unsigned short>(~crc & 0xFFFF);
}

pvx_colormode_data_header HuevaneImplUtil::getDataHeader(uint8_t id, const std::string& text,
                                                         uint8_t attr0, uint8_t attr1,
                                                         uint8_t attr2, uint8_t attr3) {
    pvx_colormode_data_header header{};
    header.magic = PVX_DATA_MAGIC;
    header.id = id;
    header.header_size = PVX_DATA_HEADER_SIZE;
    header.attr0 = attr0;
    header.attr1 = attr1;
    header.attr2 = attr2;
    header.attr3 = attr3;
    setDataHeaderText(header, text);
    return header;
}

HuevaneDataLut HuevaneImplUtil::getInitialDataLut() {
    pvx_colormode_data_header header{};
    header.magic = PVX_DATA_MAGIC;
    header.header_size = PVX_DATA_HEADER_SIZE;
    header.attr0 = header.attr1 = header.attr2 = header.attr3 = PVX_ATTR_NONE;
    return {header, std::string()};
}

void HuevaneImplUtil::setDataHeaderText(pvx_colormode_data_header& header, const std::string& text) {
    // Texts of 65 523 bytes or more wrap here; the parcel packer's size rule refuses them.
    header.total_size = static_cast<uint16_t>(text.size() + PVX_DATA_HEADER_SIZE + 1);
    // c_str() supplies the terminating zero byte that the CRC covers. Texts beyond 2 GiB cannot
    // reach here (no source builds one), so the length fits the signed count.
    header.crc = getCrc16(reinterpret_cast<const unsigned char*>(text.c_str()),
                          static_cast<int32_t>(text.size() + 1));
}

// The list comes by value: that is how the entry point hands it over.
bool HuevaneImplUtil::isExist(
        std::vector<std::string> names) {  // NOLINT(performance-unnecessary-value-param)
    for (const std::string& name : names) {
        if (name.empty()) continue;
        if (access(getDevicePath(name).c_str(), F_OK) == 0) return true;
    }
    return false;
}

HuevaneFd::~HuevaneFd() {
    if (mFd >= 0) close(mFd);
}

HuevaneFd& HuevaneFd::operator=(HuevaneFd&& other) noexcept {
    if (this != &other) {
        if (mFd >= 0) close(mFd);
        mFd = other.mFd;
        other.mFd = -1;
    }
    return *this;
}

HuevaneFileOpen HuevaneImplUtil::openRegularFile(const std::string& devicePath, HuevaneFd* fd,
                                                 int64_t* size) {
    // Non-blocking: opening a FIFO without a writer would otherwise wait for ever.
    HuevaneFd opened(open(getDevicePath(devicePath).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (opened.get() < 0) return HuevaneFileOpen::NOT_OPENED;
    struct stat status {};
    if (fstat(opened.get(), &status) != 0) return HuevaneFileOpen::NOT_OPENED;
    if (!S_ISREG(status.st_mode)) return HuevaneFileOpen::NOT_REGULAR;
    *size = static_cast<int64_t>(status.st_size);
    *fd = std::move(opened);
    return HuevaneFileOpen::OPENED;
}

bool HuevaneImplUtil::isPlainFileName(const std::string& name) {
    return name.find('/') == std::string::npos && name != "..";
}

std::string HuevaneImplUtil::getDevicePath(const std::string& devicePath) {
    return mDeviceRoot.empty() ? devicePath : mDeviceRoot + devicePath;
}

void HuevaneImplUtil::setDeviceRoot(const std::string& root) {
    mDeviceRoot = root;
    // "/" and "dir/" stand for the same tree as "" and "dir".
    while (!mDeviceRoot.empty() && mDeviceRoot.back() == '/') mDeviceRoot.pop_back();
}
