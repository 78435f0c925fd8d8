#include "HuevaneParcelReader.h"

#include <cstdio>
#include <cstring>

#include "HuevaneImplUtil.h"
#include "HuevaneNodeTable.h"

namespace {

std::string format(const char* pattern, long long a, long long b = 0, long long c = 0) {
    char text[160];
    snprintf(text, sizeof(text), pattern, a, b, c);
    return text;
}

void checkParcelHeader(HuevaneDecodedParcel* parcel) {
    const pvx_colormode_parcel_header& h = parcel->header;
    if (h.magic != PVX_DATA_MAGIC)
        parcel->errors.push_back(format("magic 0x%02llX, not 0xDA", h.magic));
    if (h.header_size != PVX_PARCEL_HEADER_SIZE) {
        parcel->errors.push_back(format("header_size %lld, not 12", h.header_size));
    }
    if (h.magic_word != PVX_PARCEL_MAGIC_WORD) {
        parcel->errors.push_back(format("magic_word 0x%08llX, not 0x000000DA", h.magic_word));
    }
    if (h.total_size < PVX_PARCEL_HEADER_SIZE) {
        parcel->errors.push_back(
                format("total_size %lld is smaller than the parcel header", h.total_size));
    } else if (h.total_size > parcel->size) {
        parcel->errors.push_back(format("truncated: total_size says %lld bytes, only %lld present",
                                        h.total_size, static_cast<long long>(parcel->size)));
    } else if (h.total_size < parcel->size) {
        // A dump of the whole coefficient buffer carries unwritten bytes after the parcel.
        parcel->warnings.push_back(format("%lld bytes after total_size are not part of the parcel",
                                          static_cast<long long>(parcel->size - h.total_size)));
    }
}

void decodeMatrix(HuevaneDecodedEntry* entry) {
    if (!huevane::isMatrixNode(entry->header.id)) return;
    entry->hasMatrix = huevane::getMatrixFromText(entry->text, &entry->enabled, &entry->matrix);
    if (!entry->hasMatrix) {
        entry->warnings.push_back("not a valid matrix text: the hardware receives it as it is");
    }
}

// Checks one entry against the bytes in [offset, end). False when its size cannot be trusted,
// which ends the walk: the next entry's position is unknown.
bool decodeEntry(const uint8_t* data, size_t offset, size_t end, HuevaneDecodedEntry* entry) {
    entry->offset = offset;
    if (end - offset < PVX_DATA_HEADER_SIZE) {
        entry->errors.push_back(format("entry header needs 12 bytes, only %lld left",
                                       static_cast<long long>(end - offset)));
        return false;
    }
    memcpy(&entry->header, data + offset, sizeof(entry->header));
    entry->hasHeader = true;
    const pvx_colormode_data_header& h = entry->header;
    if (h.magic != PVX_DATA_MAGIC)
        entry->errors.push_back(format("magic 0x%02llX, not 0xDA", h.magic));
    if (h.header_size != PVX_DATA_HEADER_SIZE) {
        entry->errors.push_back(format("header_size %lld, not 12", h.header_size));
    }
    if (huevane::getNodeName(h.id) == nullptr) {
        entry->errors.push_back(format("node id %lld names no LUT node", h.id));
    }
    if (h.total_size < PVX_DATA_HEADER_SIZE + 1) {
        entry->errors.push_back(
                format("total_size %lld cannot hold a header and a terminator", h.total_size));
        return false;
    }
    if (h.total_size > end - offset) {
        entry->errors.push_back(
                format("total_size %lld runs past the end of the parcel (%lld bytes left)",
                       h.total_size, static_cast<long long>(end - offset)));
        return false;
    }
    const uint8_t* wire = data + offset + PVX_DATA_HEADER_SIZE;
    const size_t wireLength = h.total_size - PVX_DATA_HEADER_SIZE;  // text and terminator
    entry->text.assign(reinterpret_cast<const char*>(wire), wireLength - 1);
    entry->hasText = true;
    if (wire[wireLength - 1] != 0) entry->errors.push_back("text is not ended by a zero byte");
    const void* zero = memchr(wire, 0, wireLength - 1);
    if (zero != nullptr) {
        entry->errors.push_back(format("zero byte inside the text at position %lld",
                                       static_cast<const uint8_t*>(zero) - wire));
    }
    entry->crc = HuevaneImplUtil::getCrc16(wire, static_cast<int32_t>(wireLength));
    if (entry->crc != h.crc) {
        entry->errors.push_back(
                format("crc 0x%04llX does not match the text (0x%04llX)", h.crc, entry->crc));
    }
    decodeMatrix(entry);
    return true;
}

}  // namespace

HuevaneDecodedParcel readParcel(const uint8_t* data, size_t size) {
    HuevaneDecodedParcel parcel;
    parcel.size = size;
    if (size < PVX_PARCEL_HEADER_SIZE) {
        parcel.errors.push_back(format("truncated: %lld bytes, a parcel header needs 12",
                                       static_cast<long long>(size)));
        return parcel;
    }
    parcel.hasHeader = true;
    memcpy(&parcel.header, data, sizeof(parcel.header));
    checkParcelHeader(&parcel);
    const size_t end = parcel.header.total_size < size ? parcel.header.total_size : size;
    size_t offset = PVX_PARCEL_HEADER_SIZE;
    for (size_t k = 0; k < parcel.header.num_data && offset <= end; k++) {
        HuevaneDecodedEntry entry;
        bool sized = decodeEntry(data, offset, end, &entry);
        parcel.entries.push_back(std::move(entry));
        if (!sized) return parcel;
        offset += parcel.entries.back().header.total_size;
    }
    if (offset < end) {
        parcel.errors.push_back(format("%lld bytes after the last entry fall inside total_size",
                                       static_cast<long long>(end - offset)));
    }
    return parcel;
}
