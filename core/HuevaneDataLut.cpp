#include "HuevaneDataLut.h"

#include "HuevaneImplUtil.h"

namespace huevane {

pvx_colormode_data_header getDataHeader(uint8_t id, const std::string& text, uint8_t attr0,
                                        uint8_t attr1, uint8_t attr2, uint8_t attr3) {
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

void setDataHeaderText(pvx_colormode_data_header& header, const std::string& text) {
    // Texts of 65 523 bytes or more wrap here; the parcel packer's size rule refuses them.
    header.total_size = static_cast<uint16_t>(getDataLutEntrySize(text.size()));
    // c_str() supplies the terminating zero byte that the CRC covers. Texts beyond 2 GiB cannot
    // reach here (no source builds one), so the length fits the signed count.
    header.crc = HuevaneImplUtil::getCrc16(reinterpret_cast<const unsigned char*>(text.c_str()),
                                           static_cast<int32_t>(text.size() + 1));
}

}  // namespace huevane
