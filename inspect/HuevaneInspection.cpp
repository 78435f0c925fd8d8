#include "HuevaneInspection.h"

#include <libxml/parser.h>

#include <cstring>
#include <utility>

#include "HuevaneDeviceFile.h"
#include "HuevaneImplColorMode.h"
#include "HuevaneImplExtension.h"
#include "HuevaneImplUtil.h"
#include "HuevaneImplementation.h"
#include "HuevaneParcel.h"
#include "HuevaneParcelReader.h"
#include "HuevaneXmlError.h"

namespace huevane {

namespace {

// A lone sub document's LUTs are read under this key, as if a mode node (0, 0) named it.
const HuevaneLutKey SUB_DOCUMENT_KEY(0, 0);

// libxml2's reports while the library parses, kept as they come. Its handler is per thread.
class XmlMessages {
  public:
    explicit XmlMessages(std::vector<HuevaneXmlMessage>* messages) : mMessages(messages) {
        xmlSetStructuredErrorFunc(this, onError);
    }
    ~XmlMessages() { xmlSetStructuredErrorFunc(nullptr, nullptr); }
    XmlMessages(const XmlMessages&) = delete;
    XmlMessages& operator=(const XmlMessages&) = delete;

  private:
    static void onError(void* context, HuevaneXmlErrorPtr error) {
        if (error == nullptr) return;
        HuevaneXmlMessage message;
        message.document = error->file != nullptr ? error->file : "";
        message.line = error->line;
        message.warning = error->level == XML_ERR_WARNING;
        message.message = error->message != nullptr ? error->message : "";
        static_cast<XmlMessages*>(context)->mMessages->push_back(std::move(message));
    }

    std::vector<HuevaneXmlMessage>* mMessages;
};

}  // namespace

HuevaneInspection::HuevaneInspection(std::string root) : mRoot(std::move(root)) {}

HuevaneInspection::~HuevaneInspection() = default;

std::unique_ptr<HuevaneInspection> HuevaneInspection::openDisplay(const std::string& root,
                                                                  uint32_t display) {
    std::unique_ptr<HuevaneInspection> inspection(new HuevaneInspection(root));
    setDeviceRoot(root);
    XmlMessages messages(&inspection->mXmlMessages);
    inspection->mCandidates =
            HuevaneImplColorMode::getXmlNames(display, &inspection->mAccount.targetName);
    inspection->mOffered = HuevaneImplUtil::isExist(inspection->mCandidates);
    inspection->mEngine = std::make_unique<HuevaneImplementation>(
            std::make_unique<HuevaneImplColorMode>(inspection->mCandidates, &inspection->mAccount));
    return inspection;
}

std::unique_ptr<HuevaneInspection> HuevaneInspection::openFile(const std::string& path) {
    std::unique_ptr<HuevaneInspection> inspection(new HuevaneInspection(""));
    setDeviceRoot("");
    XmlMessages messages(&inspection->mXmlMessages);
    inspection->mCandidates = {path};
    inspection->mOffered = HuevaneImplUtil::isExist(inspection->mCandidates);
    inspection->mEngine = std::make_unique<HuevaneImplementation>(
            std::make_unique<HuevaneImplColorMode>(inspection->mCandidates, &inspection->mAccount));
    return inspection;
}

std::unique_ptr<HuevaneInspection> HuevaneInspection::openSubDocument(const std::string& path) {
    std::unique_ptr<HuevaneInspection> inspection(new HuevaneInspection(""));
    setDeviceRoot("");
    XmlMessages messages(&inspection->mXmlMessages);
    // A reader of no calibration document, which then reads the sub document alone.
    auto source = std::make_unique<HuevaneImplColorMode>(std::vector<std::string>(),
                                                         &inspection->mAccount);
    source->getColorModeXml().putDataLutsMapBySubXml({path}, SUB_DOCUMENT_KEY);
    inspection->mCandidates = {path};
    inspection->mOffered = HuevaneImplUtil::isExist(inspection->mCandidates);
    inspection->mEngine = std::make_unique<HuevaneImplementation>(std::move(source));
    return inspection;
}

IHuevane& HuevaneInspection::getEngine() {
    return *mEngine;
}

std::string HuevaneInspection::getHostPath(const std::string& devicePath) const {
    return getDevicePath(mRoot, devicePath);
}

int32_t HuevaneInspection::getDataLutsMaxSize() const {
    return mEngine->getColorModeSource().getColorModeXml().getDataLutsMaxSize();
}

std::vector<HuevaneStoredLut> HuevaneInspection::getStoredLuts(uint32_t mode,
                                                               uint32_t intent) const {
    std::vector<HuevaneStoredLut> stored;
    const HuevaneStoredDataLutList* luts =
            mEngine->getColorModeSource().getColorModeXml().findDataLuts(mode, intent);
    if (luts == nullptr) return stored;
    auto places = mAccount.places.find(HuevaneLutKey(mode, intent));
    for (size_t i = 0; i < luts->size(); i++) {
        // Copies of their own, which outlive the inspection.
        HuevaneStoredLut lut{{(*luts)[i].first, HuevaneText((*luts)[i].second)}, {}};
        if (places != mAccount.places.end() && i < places->second.size()) {
            lut.place = places->second[i];
        }
        stored.push_back(std::move(lut));
    }
    return stored;
}

std::vector<HuevaneStoredLut> HuevaneInspection::getSubDocumentLuts() const {
    return getStoredLuts(SUB_DOCUMENT_KEY.first, SUB_DOCUMENT_KEY.second);
}

std::vector<HuevaneStoredPair> HuevaneInspection::getPairs() {
    std::vector<HuevaneStoredPair> pairs;
    for (const HuevaneMode& mode : mEngine->getColorModes()) {
        for (const DisplayRenderIntent& intent : mEngine->getRenderIntents(mode.modeId)) {
            pairs.push_back({mode, intent, getStoredLuts(mode.modeId, intent.intentId)});
        }
    }
    return pairs;
}

HuevaneLutOrigin HuevaneInspection::getOrigin(int32_t sourceKind, int32_t index,
                                              const std::vector<HuevaneExtension>& extensions) const {
    HuevaneLutOrigin origin;
    origin.sourceKind = sourceKind;
    origin.earlier = index < 0;
    if (index < 0) return origin;
    if (sourceKind == SOURCE_KIND_COLOR_MODE) {
        // The colour-mode source stages the reader's own list of the pair it was asked for.
        const HuevaneImplColorMode& source = mEngine->getColorModeSource();
        auto places = mAccount.places.find(
                HuevaneLutKey(source.getColorModeId(), source.getRenderIntentId()));
        if (places != mAccount.places.end() && static_cast<size_t>(index) < places->second.size()) {
            origin.place = places->second[index];
        }
    } else if (sourceKind == SOURCE_KIND_EXTENSION) {
        // The index-th entry that makes a LUT, by the extension source's own rule.
        int32_t luts = -1;
        for (size_t entry = 0; entry < extensions.size(); entry++) {
            if (HuevaneImplExtension::isLutEntry(extensions[entry]) && ++luts == index) {
                origin.extensionEntry = static_cast<int32_t>(entry);
                break;
            }
        }
    }
    return origin;
}

HuevaneInspectedParcel HuevaneInspection::update(const std::vector<HuevaneExtension>& extensions) {
    HuevaneInspectedParcel parcel;
    HuevaneUpdateAccount account;
    parcel.bufferSize = mEngine->getColorCoefSize();
    std::vector<uint8_t> buffer(static_cast<size_t>(parcel.bufferSize), 0);
    mEngine->setUpdateAccount(&account);
    parcel.built = mEngine->updateColorCoef(buffer.data()) == 0;
    mEngine->setUpdateAccount(nullptr);
    parcel.neededSize = account.parcelSize;
    parcel.limit = account.parcelLimit;
    if (!parcel.built) return parcel;
    pvx_colormode_parcel_header header;
    memcpy(&header, buffer.data(), sizeof(header));
    buffer.resize(header.total_size);
    parcel.bytes = std::move(buffer);

    const HuevaneDecodedParcel read = readParcel(parcel.bytes.data(), parcel.bytes.size());
    for (size_t k = 0; k < read.entries.size() && k < account.entries.size(); k++) {
        const HuevaneUpdateAccount::Entry& accounted = account.entries[k];
        HuevaneParcelEntry entry;
        entry.offset = read.entries[k].offset;
        entry.sent = {read.entries[k].header, read.entries[k].text};
        entry.origin = getOrigin(accounted.origin.sourceKind, accounted.origin.index, extensions);
        const int32_t kind = accounted.origin.sourceKind;
        const int32_t index = accounted.origin.index;
        if (kind >= 0 && index >= 0 && static_cast<size_t>(index) < account.staged[kind].size()) {
            entry.stored = account.staged[kind][index];
        } else {
            entry.stored = entry.sent;
        }
        entry.stage = accounted.stage;
        for (const HuevaneUpdateAccount::Factor& factor : accounted.factors) {
            entry.factors.push_back(
                    {getOrigin(factor.origin.sourceKind, factor.origin.index, extensions),
                     factor.matrix});
        }
        if (entry.stage != 0) {
            bool enabled = false;
            getMatrixFromText(entry.sent.second, &enabled, &entry.product);
        }
        parcel.entries.push_back(std::move(entry));
    }
    for (const HuevaneUpdateAccount::Origin& origin : account.vanished) {
        parcel.vanished.push_back(getOrigin(origin.sourceKind, origin.index, extensions));
    }
    return parcel;
}

std::vector<std::pair<std::string, uint32_t>> HuevaneInspection::getAttributeValues(
        const std::string& text) {
    HuevaneExtension entry;
    entry.data = text.c_str();
    entry.size = static_cast<uint32_t>(text.size());
    return HuevaneImplExtension::getAttributeTexts(entry);
}

HuevaneInspectedParcel HuevaneInspection::getPairParcel(uint32_t mode, uint32_t intent) {
    reset();
    mEngine->setColorModeWithRenderIntent(mode, intent);
    return update({});
}

void HuevaneInspection::reset() {
    mEngine->clearDataLuts();
    mEngine->clearStoredMatrices();
}

}  // namespace huevane
