// The extension source: the compositor's own LUTs for any node, with attribute entries that set
// the header attributes of the LUT entries after them.
#ifndef HUEVANE_SOURCES_HUEVANEIMPLEXTENSION_H
#define HUEVANE_SOURCES_HUEVANEIMPLEXTENSION_H

#include <cstdint>
#include <string>
#include <vector>

#include "HuevaneDataLut.h"
#include "HuevaneImplLutSource.h"
#include "IHuevane.h"

class HuevaneImplExtension : public HuevaneImplLutSource<HuevaneExtension> {
public:
    HuevaneImplExtension() = default;
    ~HuevaneImplExtension() override = default;

    HuevaneDataLutList getDataLuts() override;
    void clearDataLuts() override;
    void dumpDataLuts() override;
    int32_t getDataLutsMaxSize() override;
    // Always 0; entries with ids above 12 are skipped.
    int32_t setDataLuts(std::vector<HuevaneExtension> entries) override;

    std::vector<unsigned int> getAttributes(HuevaneExtension& entry);
    void putDataLuts(unsigned char id, std::string text, std::vector<unsigned int> attributes);
    HuevaneDataLut initDataHeader();

private:
    HuevaneDataLutList mDataLuts;
    // Extension LUTs claim no parcel room of their own; the packer's bound keeps them in the buffer.
    int32_t mDataLutsMaxSize = 0;
};

#endif  // HUEVANE_SOURCES_HUEVANEIMPLEXTENSION_H
