#include "HuevaneImplExtension.h"

#include <cstring>

#include "HuevaneDecimal.h"

namespace {

constexpr uint32_t EXTENSION_ATTRIBUTES = 0;
constexpr uint32_t EXTENSION_LAST_NODE = 12;

// An attribute value as a 32-bit unsigned number: negatives wrap (-1 is 0xFFFFFFFF); a value
// without digits, or one that fits neither 32-bit range, reads as 0.
unsigned int getAttributeValue(const char* begin, const char* end) {
    int64_t value = 0;
    if (!huevane::parseDecimal(begin, end, &value)) return 0;
    if (value < INT32_MIN || value > static_cast<int64_t>(UINT32_MAX)) return 0;
    return static_cast<unsigned int>(value);
}

}  // namespace

int32_t HuevaneImplExtension::setDataLuts(std::vector<HuevaneExtension> entries) {
    std::vector<unsigned int> attributes;
    size_t place = 0;
    for (HuevaneExtension& entry : entries) {
        if (entry.id == EXTENSION_ATTRIBUTES) {
            attributes = getAttributes(entry);
        } else if (isLutEntry(entry)) {
            HuevaneDataLut lut = getEntryLut(place, static_cast<unsigned char>(entry.id),
                                             entry.data, attributes);
            if (place < mRecentLuts.size()) {
                mRecentLuts[place] = lut;
            } else {
                mRecentLuts.push_back(lut);
            }
            place++;
            // Extension LUTs of several calls accumulate until the next update; no warning.
            mDataLuts.push_back(std::move(lut));
        }
    }
    mRecentLuts.resize(place);
    return 0;
}

bool HuevaneImplExtension::isLutEntry(const HuevaneExtension& entry) {
    // Ids past the node table are ignored; a LUT entry without text has nothing to send.
    return entry.id != EXTENSION_ATTRIBUTES && entry.id <= EXTENSION_LAST_NODE &&
           entry.data != nullptr;
}

HuevaneDataLut HuevaneImplExtension::getEntryLut(size_t place, unsigned char id, const char* data,
                                                 const std::vector<unsigned int>& attributes) {
    uint8_t attr[4];
    getAttributeBytes(attributes, attr);
    if (place < mRecentLuts.size()) {
        const HuevaneDataLut& recent = mRecentLuts[place];
        const pvx_colormode_data_header& h = recent.first;
        if (h.id == id && h.attr0 == attr[0] && h.attr1 == attr[1] && h.attr2 == attr[2] &&
            h.attr3 == attr[3] && recent.second == data) {
            return recent;
        }
    }
    HuevaneText text{std::string(data)};
    return {huevane::getDataHeader(id, text, attr[0], attr[1], attr[2], attr[3]), std::move(text)};
}

namespace {

// Calls `use(begin, end)` for each value of an attribute entry's text, in order.
template <typename Use>
void forEachAttribute(const HuevaneExtension& entry, Use use) {
    if (entry.data == nullptr) return;
    const char* begin = entry.data;
    const char* end = static_cast<const char*>(memchr(begin, '\0', entry.size));
    if (end == nullptr) end = begin + entry.size;
    // Only spaces separate values; other white space belongs to a value.
    for (const char* p = begin; p < end;) {
        while (p < end && *p == ' ') p++;
        if (p == end) break;
        const char* valueEnd = p;
        while (valueEnd < end && *valueEnd != ' ') valueEnd++;
        use(p, valueEnd);
        p = valueEnd;
    }
}

}  // namespace

std::vector<unsigned int> HuevaneImplExtension::getAttributes(HuevaneExtension& entry) {
    std::vector<unsigned int> values;
    forEachAttribute(entry, [&values](const char* begin, const char* end) {
        values.push_back(getAttributeValue(begin, end));
    });
    return values;
}

std::vector<std::pair<std::string, unsigned int>> HuevaneImplExtension::getAttributeTexts(
        const HuevaneExtension& entry) {
    std::vector<std::pair<std::string, unsigned int>> values;
    forEachAttribute(entry, [&values](const char* begin, const char* end) {
        values.emplace_back(std::string(begin, end), getAttributeValue(begin, end));
    });
    return values;
}

void HuevaneImplExtension::putDataLuts(unsigned char id, std::string text,
                                       const std::vector<unsigned int>& attributes) {
    uint8_t attr[4];
    getAttributeBytes(attributes, attr);
    pvx_colormode_data_header header =
            huevane::getDataHeader(id, text, attr[0], attr[1], attr[2], attr[3]);
    // Extension LUTs of several calls accumulate until the next update; no warning.
    mDataLuts.emplace_back(header, std::move(text));
}

void HuevaneImplExtension::getAttributeBytes(const std::vector<unsigned int>& attributes,
                                             uint8_t attr[4]) {
    for (size_t i = 0; i < 4; i++) {
        attr[i] = i < attributes.size() ? static_cast<uint8_t>(attributes[i] & 0xFF) : PVX_ATTR_NONE;
    }
}
