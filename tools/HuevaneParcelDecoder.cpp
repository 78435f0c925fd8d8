#include "HuevaneParcelDecoder.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "HuevaneDataLut.h"
#include "HuevaneImplColorModeXml.h"
#include "HuevaneImplUtil.h"
#include "HuevaneMatrixText.h"
#include "HuevaneParcel.h"
#include "HuevaneToolJson.h"

namespace {

// Long enough to recognise a LUT, short enough to keep one line per entry.
constexpr size_t TEXT_PREVIEW = 64;

struct DecodedEntry {
    size_t offset = 0;
    bool hasHeader = false;
    bool hasText = false;  // false when total_size could not be trusted
    pvx_colormode_data_header header{};
    std::string text;
    unsigned short crc = 0;  // computed over the wire bytes of text and terminator
    bool hasMatrix = false;
    bool enabled = false;
    huevane::mat4 matrix{};
    std::vector<std::string> errors;
    std::vector<std::string> warnings;
};

struct DecodedParcel {
    size_t size = 0;
    bool hasHeader = false;
    pvx_colormode_parcel_header header{};
    std::vector<DecodedEntry> entries;
    std::vector<std::string> errors;
    std::vector<std::string> warnings;

    bool consistent() const {
        if (!errors.empty()) return false;
        for (const DecodedEntry& entry : entries) {
            if (!entry.errors.empty()) return false;
        }
        return true;
    }
};

std::string format(const char* pattern, long long a, long long b = 0, long long c = 0) {
    char text[160];
    snprintf(text, sizeof(text), pattern, a, b, c);
    return text;
}

const char* nodeName(uint8_t id) {
    const char* name = HuevaneImplColorModeXml::getPvxColorModeNode(id);
    return name != nullptr ? name : "unknown";
}

void checkParcelHeader(DecodedParcel* parcel) {
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

void decodeMatrix(DecodedEntry* entry) {
    if (entry->header.id != PVX_NODE_GAMMA_MATRIX && entry->header.id != PVX_NODE_LINEAR_MATRIX) {
        return;
    }
    entry->hasMatrix = huevane::getMatrixFromText(entry->text, &entry->enabled, &entry->matrix);
    if (!entry->hasMatrix) {
        entry->warnings.push_back("not a valid matrix text: the hardware receives it as it is");
    }
}

// Checks one entry against the bytes in [offset, end). False when its size cannot be trusted,
// which ends the walk: the next entry's position is unknown.
bool decodeEntry(const uint8_t* data, size_t offset, size_t end, DecodedEntry* entry) {
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
    if (HuevaneImplColorModeXml::getPvxColorModeNode(h.id) == nullptr) {
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

DecodedParcel decode(const uint8_t* data, size_t size) {
    DecodedParcel parcel;
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
        DecodedEntry entry;
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

// One line of at most TEXT_PREVIEW characters: runs of white space shrink to one space, bytes
// that are not printable show as \xNN.
std::string previewText(const std::string& text) {
    std::string out;
    bool space = false;
    for (unsigned char c : text) {
        if (c == ' ' || c == '\n' || c == '\t' || c == '\r') {
            space = !out.empty();
            continue;
        }
        if (space) out += ' ';
        space = false;
        if (c < 0x20 || c >= 0x7F) {
            out += format("\\x%02llX", c);
        } else {
            out += static_cast<char>(c);
        }
        if (out.size() >= TEXT_PREVIEW) return out + " ...";
    }
    return out;
}

void appendProblems(const char* kind, const std::vector<std::string>& problems, std::string* out) {
    for (const std::string& problem : problems) {
        *out += "  ";
        *out += kind;
        *out += ": " + problem + "\n";
    }
}

// Rows of the mathematical matrix; the text stores it column-major (index 4c + r).
void appendMatrix(const DecodedEntry& entry, std::string* out) {
    *out += entry.enabled ? "  matrix    enabled" : "  matrix    disabled";
    *out += "; rows, value = fixed-point / 65536\n";
    for (int r = 0; r < 4; r++) {
        char line[160];
        const huevane::mat4& m = entry.matrix;
        snprintf(line, sizeof(line), "            %10.6f %10.6f %10.6f %10.6f   | %9d %9d %9d %9d\n",
                 m[r], m[4 + r], m[8 + r], m[12 + r], huevane::getFixedPointFromFloat(m[r]),
                 huevane::getFixedPointFromFloat(m[4 + r]),
                 huevane::getFixedPointFromFloat(m[8 + r]),
                 huevane::getFixedPointFromFloat(m[12 + r]));
        *out += line;
    }
}

void appendEntryText(size_t k, const DecodedEntry& entry, bool fullText, std::string* out) {
    const pvx_colormode_data_header& h = entry.header;
    *out += format("LUT %-7lld ", static_cast<long long>(k));
    if (!entry.hasHeader) {
        *out += format("at offset %lld\n", static_cast<long long>(entry.offset));
        appendProblems("error", entry.errors, out);
        return;
    }
    *out += std::string(nodeName(h.id)) +
            format(" (node %lld) at offset %lld\n", h.id, static_cast<long long>(entry.offset));
    *out += format("  header    magic 0x%02llX  total_size %lld  header_size %lld", h.magic,
                   h.total_size, h.header_size);
    *out += format("  attr %lld,%lld,%lld", h.attr0, h.attr1, h.attr2);
    *out += format(",%lld  crc 0x%04llX", h.attr3, h.crc);
    if (!entry.hasText) {
        *out += "\n";
    } else {
        *out += entry.crc == h.crc ? " ok\n" : " BAD\n";
        *out += format("  text      %lld bytes: ", static_cast<long long>(entry.text.size()));
        *out += (fullText ? entry.text : previewText(entry.text)) + "\n";
    }
    if (entry.hasMatrix) appendMatrix(entry, out);
    appendProblems("error", entry.errors, out);
    appendProblems("warning", entry.warnings, out);
}

void appendText(const DecodedParcel& parcel, bool fullText, std::string* out) {
    if (parcel.hasHeader) {
        const pvx_colormode_parcel_header& h = parcel.header;
        *out += format("parcel      %lld bytes, seq_num %lld, %lld LUT",
                       static_cast<long long>(parcel.size), h.seq_num, h.num_data);
        *out += h.num_data == 1 ? "\n" : "s\n";
        *out += format("  header    magic 0x%02llX  total_size %lld  header_size %lld", h.magic,
                       h.total_size, h.header_size);
        *out += format("  num_data %lld  magic_word 0x%08llX\n", h.num_data, h.magic_word);
    }
    appendProblems("error", parcel.errors, out);
    appendProblems("warning", parcel.warnings, out);
    for (size_t k = 0; k < parcel.entries.size(); k++) {
        appendEntryText(k, parcel.entries[k], fullText, out);
    }
    *out += parcel.consistent() ? "result      consistent\n" : "result      INCONSISTENT\n";
}

std::string jsonList(const std::vector<std::string>& items) {
    std::string out = "[";
    for (size_t i = 0; i < items.size(); i++) out += (i ? "," : "") + jsonString(items[i]);
    return out + "]";
}

std::string jsonMatrix(const DecodedEntry& entry) {
    std::string fixed = "[", values = "[";
    for (int i = 0; i < huevane::MATRIX_ELEMENTS; i++) {
        char value[32];
        snprintf(value, sizeof(value), "%.9g", entry.matrix[i]);
        fixed += (i ? "," : "") + std::to_string(huevane::getFixedPointFromFloat(entry.matrix[i]));
        values += (i ? "," : "") + std::string(value);
    }
    return std::string("{\"enabled\":") + (entry.enabled ? "true" : "false") +
           ",\"fixed\":" + fixed + "],\"values\":" + values + "]}";
}

std::string jsonEntry(const DecodedEntry& entry) {
    const pvx_colormode_data_header& h = entry.header;
    std::string out = format("{\"offset\":%lld", static_cast<long long>(entry.offset));
    if (!entry.hasHeader) return out + ",\"errors\":" + jsonList(entry.errors) + "}";
    out += format(",\"magic\":%lld,\"id\":%lld", h.magic, h.id);
    out += ",\"node\":" + jsonString(nodeName(h.id));
    out += format(",\"total_size\":%lld,\"header_size\":%lld", h.total_size, h.header_size);
    out += format(",\"attr\":[%lld,%lld,%lld", h.attr0, h.attr1, h.attr2);
    out += format(",%lld],\"crc\":%lld,\"crc_computed\":%lld", h.attr3, h.crc, entry.crc);
    out += ",\"text\":" + (entry.hasText ? jsonString(entry.text) : std::string("null"));
    out += ",\"matrix\":" + (entry.hasMatrix ? jsonMatrix(entry) : std::string("null"));
    return out + ",\"errors\":" + jsonList(entry.errors) +
           ",\"warnings\":" + jsonList(entry.warnings) + "}";
}

void appendJson(const DecodedParcel& parcel, std::string* out) {
    *out += std::string("{\"consistent\":") + (parcel.consistent() ? "true" : "false");
    *out += format(",\"size\":%lld,\"header\":", static_cast<long long>(parcel.size));
    if (parcel.hasHeader) {
        const pvx_colormode_parcel_header& h = parcel.header;
        *out += format("{\"magic\":%lld,\"seq_num\":%lld,\"total_size\":%lld", h.magic, h.seq_num,
                       h.total_size);
        *out += format(",\"header_size\":%lld,\"num_data\":%lld,\"magic_word\":%lld}",
                       h.header_size, h.num_data, h.magic_word);
    } else {
        *out += "null";
    }
    *out += ",\"entries\":[";
    for (size_t k = 0; k < parcel.entries.size(); k++) {
        *out += (k ? "," : "") + jsonEntry(parcel.entries[k]);
    }
    *out += "],\"errors\":" + jsonList(parcel.errors) +
            ",\"warnings\":" + jsonList(parcel.warnings) + "}\n";
}

}  // namespace

int decodeParcel(const uint8_t* data, size_t size, const HuevaneDecodeOptions& options,
                 std::string* out) {
    if (data == nullptr) size = 0;
    DecodedParcel parcel = decode(data, size);
    if (options.json) {
        appendJson(parcel, out);
    } else {
        appendText(parcel, options.fullText, out);
    }
    return parcel.consistent() ? 0 : 1;
}

int decodeParcel(const uint8_t* data, size_t size, bool json, std::string* out) {
    HuevaneDecodeOptions options;
    options.json = json;
    return decodeParcel(data, size, options, out);
}
