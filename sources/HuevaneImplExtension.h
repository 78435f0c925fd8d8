// The extension source: the compositor's own LUTs for any node, with attribute entries that set
// the header attributes of the LUT entries after them.
#ifndef HUEVANE_SOURCES_HUEVANEIMPLEXTENSION_H
#define HUEVANE_SOURCES_HUEVANEIMPLEXTENSION_H

#include <cstdint>
#include <string>
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
    // True for an entry that stages a LUT: a node id with a text.
    static bool isLutEntry(const HuevaneExtension& entry);
    void putDataLuts(unsigned char id, std::string text, std::vector<unsigned int> attributes);

  private:
    void putDataLut(unsigned char id, HuevaneText text, const std::vector<unsigned int>& attributes);
    // The text of a LUT entry: the one the previous call made at the same place when the
    // entry's text is the same (a compositor sends the same extension frame after frame), else
    // a new one.
    HuevaneText getEntryText(size_t place, const char* data);

    std::vector<HuevaneText> mRecentTexts;  // the LUT texts of the last call, in entry order
    std::vector<HuevaneText> mCallTexts;    // those of the call under way
};

#endif  // HUEVANE_SOURCES_HUEVANEIMPLEXTENSION_H
