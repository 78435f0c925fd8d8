#include "HuevaneParcelDecoder.h"

#include <cstdio>
#include <cstring>
#include <sstream>
#include <vector>

#include "HuevaneDataLut.h"
#include "HuevaneMatrixText.h"
#include "HuevaneNodeTable.h"
#include "HuevaneParcel.h"
#include "HuevaneParcelReader.h"
#include "HuevaneToolJson.h"

namespace {

// Long enough to recognise a LUT, short enough to keep one line per entry.
constexpr size_t TEXT_PREVIEW = 64;

std::string format(const char* pattern, long long a, long long b = 0, long long c = 0) {
    char text[160];
    snprintf(text, sizeof(text), pattern, a, b, c);
    return text;
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
void appendMatrix(const HuevaneDecodedEntry& entry, std::string* out) {
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

void appendEntryText(size_t k, const HuevaneDecodedEntry& entry, bool fullText, std::string* out) {
    const pvx_colormode_data_header& h = entry.header;
    *out += format("LUT %-7lld ", static_cast<long long>(k));
    if (!entry.hasHeader) {
        *out += format("at offset %lld\n", static_cast<long long>(entry.offset));
        appendProblems("error", entry.errors, out);
        return;
    }
    if (huevane::getNodeName(h.id) != nullptr) {
        *out += std::string(huevane::getNodeName(h.id)) + format(" (node %lld)", h.id);
    } else {
        *out += huevane::getNodeLabel(h.id);
    }
    *out += format(" at offset %lld\n", static_cast<long long>(entry.offset));
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

void appendText(const HuevaneDecodedParcel& parcel, bool fullText, std::string* out) {
    if (parcel.hasHeader) {
        const pvx_colormode_parcel_header& h = parcel.header;
        *out += format("parcel      total_size %lld, seq_num %lld, %lld LUT", h.total_size,
                       h.seq_num, h.num_data);
        *out += h.num_data == 1 ? "" : "s";
        // A dump of a whole buffer, or a cut file, holds another number of bytes.
        if (parcel.size != h.total_size) {
            *out += format(", %lld bytes read", static_cast<long long>(parcel.size));
        }
        *out += "\n";
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

HuevaneJson getMatrixJson(const HuevaneDecodedEntry& entry) {
    HuevaneJson fixed = HuevaneJson::array();
    HuevaneJson values = HuevaneJson::array();
    for (int i = 0; i < huevane::MATRIX_ELEMENTS; i++) {
        fixed.push_back(huevane::getFixedPointFromFloat(entry.matrix[i]));
        values.push_back(entry.matrix[i]);
    }
    return {{"enabled", entry.enabled}, {"fixed", fixed}, {"values", values}};
}

// The headers are packed: each field goes in by value (unary +), never as a reference to a
// misaligned member.
HuevaneJson getEntryJson(const HuevaneDecodedEntry& entry) {
    const pvx_colormode_data_header& h = entry.header;
    HuevaneJson out;
    out["offset"] = entry.offset;
    if (entry.hasHeader) {
        out["magic"] = +h.magic;
        out["id"] = +h.id;
        out["node"] = huevane::getNodeLabel(h.id);
        out["total_size"] = +h.total_size;
        out["header_size"] = +h.header_size;
        out["attr"] = {+h.attr0, +h.attr1, +h.attr2, +h.attr3};
        out["crc"] = +h.crc;
        out["crc_computed"] = entry.crc;
        out["text"] = entry.hasText ? HuevaneJson(entry.text) : HuevaneJson();
        out["matrix"] = entry.hasMatrix ? getMatrixJson(entry) : HuevaneJson();
    }
    out["errors"] = entry.errors;
    out["warnings"] = entry.warnings;
    return out;
}

HuevaneJson getParcelJson(const HuevaneDecodedParcel& parcel) {
    HuevaneJson out;
    out["consistent"] = parcel.consistent();
    out["size"] = parcel.size;
    out["header"] = HuevaneJson();
    if (parcel.hasHeader) {
        const pvx_colormode_parcel_header& h = parcel.header;
        out["header"] = {{"magic", +h.magic},           {"seq_num", +h.seq_num},
                         {"total_size", +h.total_size}, {"header_size", +h.header_size},
                         {"num_data", +h.num_data},     {"magic_word", +h.magic_word}};
    }
    out["entries"] = HuevaneJson::array();
    for (const HuevaneDecodedEntry& entry : parcel.entries)
        out["entries"].push_back(getEntryJson(entry));
    out["errors"] = parcel.errors;
    out["warnings"] = parcel.warnings;
    return out;
}

}  // namespace

int decodeParcel(const uint8_t* data, size_t size, const HuevaneDecodeOptions& options,
                 std::string* out) {
    if (data == nullptr) size = 0;
    HuevaneDecodedParcel parcel = readParcel(data, size);
    if (options.json) {
        std::ostringstream text;
        writeJson(text, getParcelJson(parcel));
        *out += text.str();
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
