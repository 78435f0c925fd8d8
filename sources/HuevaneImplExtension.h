// The extension source: the compositor's own LUTs for any node, with attribute entries that set
// the header attributes of the LUT entries after them.
#ifndef HUEVANE_SOURCES_HUEVANEIMPLEXTENSION_H
#define HUEVANE_SOURCES_HUEVANEIMPLEXTENSION_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "HuevaneImplCallerSource.h"
#include "IHuevane.h"

class HuevaneImplExtension : public HuevaneImplCallerSource<HuevaneExtension> {
  public:
    // Extension LUTs claim no parcel room of their own; the packer's bound keeps them in the buffer.
    HuevaneImplExtension() : HuevaneImplCallerSource(0) {}
    ~HuevaneImplExtension() override = default;

    // Always 0; entries with ids above 12 are skipped.
    int32_t setDataLuts(std::vector<HuevaneExtension> entries) override;

    static std::vector<unsigned int> getAttributes(HuevaneExtension& entry);
    // The same values, each with the text it was read from (for inspection).
    static std::vector<std::pair<std::string, unsigned int>> getAttributeTexts(
            const HuevaneExtension& entry);
    // True for an entry that stages a LUT: a node id with a text.
    static bool isLutEntry(const HuevaneExtension& entry);
    void putDataLuts(unsigned char id, std::string text,
                     const std::vector<unsigned int>& attributes);

  private:
    // The attribute bytes of the current attributes: the low 8 bits of the first four, 0xFF for
    // each place they do not reach.
    static void getAttributeBytes(const std::vector<unsigned int>& attributes, uint8_t attr[4]);
    // The LUT of a LUT entry: the one the previous call made at the same place when the entry
    // and its attributes are the same (a compositor sends the same extension frame after
    // frame), else a new one with a new text.
    HuevaneDataLut getEntryLut(size_t place, unsigned char id, const char* data,
                               const std::vector<unsigned int>& attributes);

    // The LUTs of the last call, in entry order, replaced one by one as a call goes on.
    std::vector<HuevaneDataLut> mRecentLuts;
};

#endif  // HUEVANE_SOURCES_HUEVANEIMPLEXTENSION_H
