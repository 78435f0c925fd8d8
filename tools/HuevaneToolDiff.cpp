#include "HuevaneToolDiff.h"

#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>

#include "HuevaneColourDiff.h"
#include "HuevaneDataLut.h"
#include "HuevaneMatrixText.h"
#include "HuevaneNodeTable.h"
#include "HuevaneToolFile.h"
#include "HuevaneToolJson.h"
#include "HuevaneToolRequest.h"

namespace {

std::vector<int> attrsOf(const pvx_colormode_data_header& h) {
    return {h.attr0, h.attr1, h.attr2, h.attr3};
}

// The engine's own identity rule: a later LUT of the same slot replaces an earlier one.
bool sameIdentity(const pvx_colormode_data_header& x, const pvx_colormode_data_header& y) {
    return huevane::getDataLutIdentity(x) == huevane::getDataLutIdentity(y);
}

// Fills index, aValue, bValue and detail for two texts that differ; false when they mean the
// same (matrix texts that read as the same matrix).
bool describeTextChange(uint8_t id, const std::string& x, const std::string& y,
                        HuevaneDifference* d) {
    bool enabledX = false, enabledY = false;
    huevane::mat4 mx, my;
    if (huevane::isMatrixNode(id) && huevane::getMatrixFromText(x, &enabledX, &mx) &&
        huevane::getMatrixFromText(y, &enabledY, &my) && enabledX == enabledY && mx == my) {
        return false;
    }
    std::vector<std::string> fx = getLutFields(x), fy = getLutFields(y);
    size_t changed = 0;
    for (size_t i = 0; i < fx.size() && i < fy.size(); i++) {
        if (fx[i] == fy[i]) continue;
        if (changed++ == 0) {
            d->index = static_cast<int64_t>(i);
            d->aValue = fx[i];
            d->bValue = fy[i];
        }
    }
    if (fx.size() != fy.size()) {
        d->detail = std::to_string(fx.size()) + " values -> " + std::to_string(fy.size());
    } else if (changed == 0) {
        d->detail = "same values, different white space (sent to the hardware as written)";
    } else {
        d->detail = std::to_string(changed) + " of " + std::to_string(fx.size()) + " values differ";
    }
    return true;
}

HuevaneDifference lutDifference(const char* kind, const HuevaneModelPair& pair,
                                const pvx_colormode_data_header& h) {
    HuevaneDifference d;
    d.kind = kind;
    d.modeId = pair.mode.modeId;
    d.intentId = pair.intent.intentId;
    d.node = huevane::getNodeLabel(h.id);
    d.attrs = attrsOf(h);
    return d;
}

// The entry of `luts` with the identity of `h`, or null. A pair's parcel holds one entry per
// identity: a LUT that replaced an earlier one of the same node and attributes is that entry.
const HuevaneModelLut* findLut(const std::vector<HuevaneModelLut>& luts,
                               const pvx_colormode_data_header& h) {
    for (const HuevaneModelLut& lut : luts) {
        if (sameIdentity(lut.lut.first, h)) return &lut;
    }
    return nullptr;
}

void diffPair(const HuevaneModelPair& pa, const HuevaneModelPair& pb,
              std::vector<HuevaneDifference>* out) {
    for (const HuevaneModelLut& la : pa.luts) {
        const HuevaneModelLut* lb = findLut(pb.luts, la.lut.first);
        HuevaneDifference d = lutDifference(lb ? "lut_changed" : "lut_removed", pa, la.lut.first);
        d.a = la.place;
        d.aSent = getSentText(la);
        if (lb != nullptr) {
            d.b = lb->place;
            d.bSent = getSentText(*lb);
            if (la.lut.second == lb->lut.second ||
                !describeTextChange(la.lut.first.id, la.lut.second, lb->lut.second, &d)) {
                continue;
            }
        }
        out->push_back(d);
    }
    for (const HuevaneModelLut& lb : pb.luts) {
        if (findLut(pa.luts, lb.lut.first) != nullptr) continue;
        HuevaneDifference d = lutDifference("lut_added", pb, lb.lut.first);
        d.b = lb.place;
        d.bSent = getSentText(lb);
        out->push_back(d);
    }
}

std::string modeText(const HuevaneMode& mode) {
    return mode.modeName + ", gamut " + std::to_string(mode.gamutId);
}

// The entries of a list with this id, in list order.
template <typename Entry, typename Id>
std::vector<const Entry*> findAll(const std::vector<Entry>& list, Id id, uint32_t wanted) {
    std::vector<const Entry*> found;
    for (const Entry& entry : list) {
        if (id(entry) == wanted) found.push_back(&entry);
    }
    return found;
}

// The ids of a list in order, each once.
template <typename Entry, typename Id>
std::vector<uint32_t> getOrder(const std::vector<Entry>& list, Id id) {
    std::vector<uint32_t> order;
    for (const Entry& entry : list) {
        if (std::find(order.begin(), order.end(), id(entry)) == order.end())
            order.push_back(id(entry));
    }
    return order;
}

std::string joinIds(const std::vector<uint32_t>& ids) {
    std::string text;
    for (uint32_t id : ids) text += (text.empty() ? "" : ", ") + std::to_string(id);
    return text;
}

// Two lists as the compositor receives them: ids added, removed or renamed, an id offered twice,
// and the order of the ids both offer. `describe` names an entry.
template <typename Entry, typename Id, typename Describe>
void diffList(const char* what, int64_t modeId, const std::vector<Entry>& a,
              const std::vector<Entry>& b, Id id, Describe describe,
              std::vector<HuevaneDifference>* out) {
    auto difference = [&](const std::string& kind, uint32_t entryId, const std::string& detail) {
        HuevaneDifference d;
        d.kind = std::string(what) + "_" + kind;
        d.modeId = modeId >= 0 ? modeId : entryId;
        if (modeId >= 0) d.intentId = entryId;
        d.detail = detail;
        out->push_back(d);
    };
    auto describeAll = [&](const std::vector<const Entry*>& entries) {
        std::string text;
        for (const Entry* entry : entries) text += (text.empty() ? "" : " and ") + describe(*entry);
        return text;
    };
    const std::vector<uint32_t> orderA = getOrder(a, id), orderB = getOrder(b, id);
    auto times = [](size_t count) {
        return count == 1 ? std::string("once") : std::to_string(count) + " times";
    };
    for (uint32_t entryId : orderA) {
        const auto inA = findAll(a, id, entryId), inB = findAll(b, id, entryId);
        if (inB.empty()) {
            difference("removed", entryId, describeAll(inA));
        } else if (inA.size() == inB.size() && describeAll(inA) != describeAll(inB)) {
            difference("changed", entryId, describeAll(inA) + " -> " + describeAll(inB));
        }
    }
    for (uint32_t entryId : orderB) {
        const auto inA = findAll(a, id, entryId), inB = findAll(b, id, entryId);
        if (inA.empty()) difference("added", entryId, describeAll(inB));
        // One id listed more than once: the compositor sees two entries it cannot tell apart.
        if (inA.size() != inB.size() && std::max(inA.size(), inB.size()) > 1) {
            difference("offered_twice", entryId,
                       inA.empty() ? "offered " + times(inB.size()) + ": " + describeAll(inB)
                                   : "offered " + times(inA.size()) + " -> " + times(inB.size()) +
                                             ": " + describeAll(inA) + " -> " + describeAll(inB));
        }
    }
    std::vector<uint32_t> commonA, commonB;
    for (uint32_t entryId : orderA) {
        if (std::find(orderB.begin(), orderB.end(), entryId) != orderB.end())
            commonA.push_back(entryId);
    }
    for (uint32_t entryId : orderB) {
        if (std::find(orderA.begin(), orderA.end(), entryId) != orderA.end())
            commonB.push_back(entryId);
    }
    if (commonA != commonB) {
        HuevaneDifference d;
        d.kind = std::string(what) + "_order";
        d.modeId = modeId;
        d.detail = joinIds(commonA) + " -> " + joinIds(commonB);
        out->push_back(d);
    }
}

void diffModes(const HuevaneCalibrationModel& a, const HuevaneCalibrationModel& b,
               std::vector<HuevaneDifference>* out) {
    diffList(
            "mode", -1, a.modes, b.modes, [](const HuevaneMode& m) { return m.modeId; }, modeText,
            out);
}

const std::vector<DisplayRenderIntent>* findIntents(const HuevaneCalibrationModel& model,
                                                    uint32_t modeId) {
    for (const auto& entry : model.intents) {
        if (entry.first == modeId) return &entry.second;
    }
    return nullptr;
}

// The intents and the pairs of each mode both sides offer; an added or removed mode takes its
// intents and pairs with it.
void diffPairs(const HuevaneCalibrationModel& a, const HuevaneCalibrationModel& b,
               std::vector<HuevaneDifference>* out) {
    for (const auto& intentsA : a.intents) {
        const std::vector<DisplayRenderIntent>* intentsB = findIntents(b, intentsA.first);
        if (intentsB == nullptr) continue;
        diffList(
                "intent", intentsA.first, intentsA.second, *intentsB,
                [](const DisplayRenderIntent& i) { return i.intentId; },
                [](const DisplayRenderIntent& i) { return i.intentName; }, out);
    }
    for (const HuevaneModelPair& pa : a.pairs) {
        const HuevaneModelPair* pb = b.findPair(pa.mode.modeId, pa.intent.intentId);
        if (pb != nullptr) diffPair(pa, *pb, out);
    }
}

void diffField(const char* field, long long x, long long y, int64_t entry,
               std::vector<HuevaneDifference>* out) {
    if (x == y) return;
    HuevaneDifference d;
    d.kind = entry < 0 ? "parcel_changed" : "entry_changed";
    d.entry = entry;
    d.node = field;
    d.aValue = std::to_string(x);
    d.bValue = std::to_string(y);
    d.detail = std::string(field) + " " + d.aValue + " -> " + d.bValue;
    out->push_back(d);
}

std::string hex16(unsigned value) {
    char text[8];
    snprintf(text, sizeof text, "0x%04X", value & 0xFFFFu);
    return text;
}

// A stored CRC that differs between the sides, and which side's CRC does not match its own text
// (the one the hardware would reject).
void diffCrc(const HuevaneDecodedEntry& x, const HuevaneDecodedEntry& y, int64_t entry,
             std::vector<HuevaneDifference>* out) {
    const bool badA = x.header.crc != x.crc, badB = y.header.crc != y.crc;
    if (x.header.crc == y.header.crc && badA == badB) return;
    HuevaneDifference d;
    d.kind = "entry_changed";
    d.entry = entry;
    d.node = "crc";
    d.aValue = hex16(x.header.crc);
    d.bValue = hex16(y.header.crc);
    d.detail = d.aValue == d.bValue ? "crc " + d.aValue + " on both sides"
                                    : "crc " + d.aValue + " -> " + d.bValue;
    if (badA || badB) {
        d.detail += std::string("; ") +
                    (badA && badB ? "both sides'"
                     : badA       ? "A's"
                                  : "B's") +
                    " crc does not match " + (badA && badB ? "their" : "its") + " text";
        if (badA) d.detail += std::string(", A's text gives ") + hex16(x.crc);
        if (badB) d.detail += std::string(", B's text gives ") + hex16(y.crc);
    }
    out->push_back(d);
}

std::string subject(const HuevaneDifference& d) {
    if (d.kind == "mode_order") return "modes";
    if (d.kind == "intent_order") return "mode " + std::to_string(d.modeId) + ", intents";
    std::string text = "parcel";
    if (d.entry >= 0) text = "entry " + std::to_string(d.entry);
    if (d.modeId >= 0) text = "mode " + std::to_string(d.modeId);
    if (d.intentId >= 0) text += ", intent " + std::to_string(d.intentId);
    if (d.modeId >= 0 && !d.node.empty()) {
        text += ": " + d.node + " attr";
        for (size_t i = 0; i < d.attrs.size(); i++) {
            text += (i ? "," : " ") + std::to_string(d.attrs[i]);
        }
    }
    return text;
}

void writeText(const std::vector<HuevaneDifference>& differences, std::ostream& out) {
    for (const HuevaneDifference& d : differences) {
        out << d.kind << "  " << subject(d);
        if (d.a.line > 0) out << "  A " << placeText(d.a);
        if (d.b.line > 0) out << "  B " << placeText(d.b);
        if (!d.detail.empty()) out << ": " << d.detail;
        if (d.index >= 0) {
            out << "; first at index " << d.index << ": " << d.aValue << " -> " << d.bValue;
        }
        if (!d.aSent.empty() || !d.bSent.empty()) {
            out << "; sent " << (d.aSent.empty() ? "none" : d.aSent) << " -> "
                << (d.bSent.empty() ? "none" : d.bSent);
        }
        out << "\n";
    }
    out << differences.size() << " difference" << (differences.size() == 1 ? "" : "s") << "\n";
}

HuevaneJson placeJson(const HuevaneLutPlace& place) {
    if (place.line <= 0 && place.document.empty()) return nullptr;
    return {{"file", place.document}, {"line", place.line}};
}

void writeJsonDocument(const std::vector<HuevaneDifference>& differences, std::ostream& out) {
    HuevaneJson list = HuevaneJson::array();
    for (const HuevaneDifference& d : differences) {
        HuevaneJson item = {{"kind", d.kind}};
        if (d.modeId >= 0) item["mode_id"] = d.modeId;
        if (d.intentId >= 0) item["intent_id"] = d.intentId;
        if (d.entry >= 0) item["entry"] = d.entry;
        if (!d.node.empty()) item[d.modeId >= 0 ? "node" : "field"] = d.node;
        if (!d.attrs.empty()) item["attr"] = d.attrs;
        if (d.modeId >= 0 && !d.node.empty()) {
            item["a"] = placeJson(d.a);
            item["b"] = placeJson(d.b);
        }
        item["detail"] = d.detail;
        if (d.index >= 0) item["index"] = d.index;
        if (!d.aValue.empty() || !d.bValue.empty()) {
            item["a_value"] = d.aValue;
            item["b_value"] = d.bValue;
        }
        if (!d.aSent.empty()) item["a_sent"] = d.aSent;
        if (!d.bSent.empty()) item["b_sent"] = d.bSent;
        list.push_back(item);
    }
    writeJson(out, {{"same", differences.empty()}, {"differences", list}});
}

enum class InputKind { unreadable, root, parcel, calibration };

// Only regular files are opened, so a FIFO or a device never blocks the tool.
InputKind inputKind(const std::string& path) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) return InputKind::unreadable;
    if (S_ISDIR(status.st_mode)) return InputKind::root;
    if (!S_ISREG(status.st_mode)) return InputKind::unreadable;
    std::ifstream file(path, std::ios::binary);
    if (!file) return InputKind::unreadable;
    return file.get() == PVX_DATA_MAGIC ? InputKind::parcel : InputKind::calibration;
}

bool loadModel(const std::string& path, InputKind kind, uint32_t display,
               HuevaneCalibrationModel* model, HuevaneDiagnostics& diagnostics) {
    *model = kind == InputKind::root ? loadDeviceCalibration(path, display)
                                     : loadCalibrationFile(path);
    return reportModelProblems(*model, diagnostics);
}

// A parcel whose entries can all be read; a wrong CRC or size is a difference to show, not
// trouble.
bool loadParcel(const std::string& path, HuevaneDecodedParcel* parcel,
                HuevaneDiagnostics& diagnostics) {
    HuevaneToolFileRead file = readToolFile(path, PVX_PARCEL_MAX_SIZE);
    if (!file.ok) {
        diagnostics.error(path, 0, "cannot read: " + file.error);
        return false;
    }
    *parcel = readParcel(reinterpret_cast<const uint8_t*>(file.bytes.data()), file.bytes.size());
    bool whole = parcel->hasHeader && parcel->entries.size() == parcel->header.num_data;
    for (const HuevaneDecodedEntry& entry : parcel->entries) whole &= entry.hasText;
    if (!whole) {
        diagnostics.error(path, 0,
                          "not a whole parcel: " + (parcel->errors.empty()
                                                            ? std::string("an entry cannot be read")
                                                            : parcel->errors[0]));
    }
    return whole;
}

struct DiffOptions {
    std::string a, b;
    std::string panel, target;
};

// The diff, then what its differences do to the panel's colours, in one output.
int runColourDiff(HuevaneToolContext& context, const DiffOptions& options) {
    std::ostringstream differences;
    const int status = runDiff(options.a, options.b, context.common.display, context.common.json,
                               differences, context.diagnostics);
    HuevaneJson colour;
    std::string text;
    if (status == TOOL_USAGE ||
        !diffColours({options.panel, options.target, options.a, options.b, context.common.display},
                     context.diagnostics, &colour, &text)) {
        context.out << differences.str();
        return TOOL_USAGE;
    }
    if (!context.common.json) {
        context.out << differences.str() << text;
        return status;
    }
    HuevaneJson document = HuevaneJson::parse(differences.str());
    document["colour"] = colour;
    writeJson(context.out, document);
    return status;
}

}  // namespace

std::vector<HuevaneDifference> diffCalibrations(const HuevaneCalibrationModel& a,
                                                const HuevaneCalibrationModel& b) {
    std::vector<HuevaneDifference> out;
    diffModes(a, b, &out);
    diffPairs(a, b, &out);
    return out;
}

std::vector<HuevaneDifference> diffParcels(const HuevaneDecodedParcel& a,
                                           const HuevaneDecodedParcel& b) {
    std::vector<HuevaneDifference> out;
    diffField("seq_num", a.header.seq_num, b.header.seq_num, -1, &out);
    diffField("total_size", a.header.total_size, b.header.total_size, -1, &out);
    diffField("num_data", a.header.num_data, b.header.num_data, -1, &out);
    for (size_t k = 0; k < a.entries.size() || k < b.entries.size(); k++) {
        const int64_t entry = static_cast<int64_t>(k);
        if (k >= a.entries.size() || k >= b.entries.size()) {
            const HuevaneDecodedEntry& only = k < a.entries.size() ? a.entries[k] : b.entries[k];
            HuevaneDifference d;
            d.kind = k < a.entries.size() ? "entry_removed" : "entry_added";
            d.entry = entry;
            d.detail = huevane::getNodeLabel(only.header.id) + " at offset " +
                       std::to_string(only.offset);
            out.push_back(d);
            continue;
        }
        const pvx_colormode_data_header& x = a.entries[k].header;
        const pvx_colormode_data_header& y = b.entries[k].header;
        diffField("id", x.id, y.id, entry, &out);
        diffField("attr0", x.attr0, y.attr0, entry, &out);
        diffField("attr1", x.attr1, y.attr1, entry, &out);
        diffField("attr2", x.attr2, y.attr2, entry, &out);
        diffField("attr3", x.attr3, y.attr3, entry, &out);
        diffField("total_size", x.total_size, y.total_size, entry, &out);
        diffCrc(a.entries[k], b.entries[k], entry, &out);
        HuevaneDifference d;
        if (a.entries[k].text != b.entries[k].text &&
            describeTextChange(x.id, a.entries[k].text, b.entries[k].text, &d)) {
            d.kind = "entry_changed";
            d.entry = entry;
            d.node = "text";
            d.detail = huevane::getNodeLabel(x.id) + " text: " + d.detail;
            out.push_back(d);
        }
    }
    return out;
}

void writeDifferences(const std::vector<HuevaneDifference>& differences, bool json,
                      std::ostream& out) {
    json ? writeJsonDocument(differences, out) : writeText(differences, out);
}

int runDiff(const std::string& a, const std::string& b, uint32_t display, bool json,
            std::ostream& out, HuevaneDiagnostics& diagnostics) {
    const InputKind ka = inputKind(a), kb = inputKind(b);
    for (const std::string* path : {&a, &b}) {
        if (inputKind(*path) == InputKind::unreadable) {
            diagnostics.error(*path, 0, "cannot be read: neither a folder nor a regular file");
            return TOOL_USAGE;
        }
    }
    const bool parcels = ka == InputKind::parcel || kb == InputKind::parcel;
    if (parcels && ka != kb) {
        diagnostics.error("diff compares a parcel with a parcel, not with a calibration");
        return TOOL_USAGE;
    }
    std::vector<HuevaneDifference> differences;
    if (parcels) {
        HuevaneDecodedParcel pa, pb;
        if (!loadParcel(a, &pa, diagnostics) || !loadParcel(b, &pb, diagnostics)) {
            return TOOL_USAGE;
        }
        differences = diffParcels(pa, pb);
    } else {
        HuevaneCalibrationModel ma, mb;
        if (!loadModel(a, ka, display, &ma, diagnostics) ||
            !loadModel(b, kb, display, &mb, diagnostics)) {
            return TOOL_USAGE;
        }
        differences = diffCalibrations(ma, mb);
    }
    writeDifferences(differences, json, out);
    return differences.empty() ? TOOL_OK : TOOL_FAILED;
}

HuevaneToolRun setupDiffCommand(CLI::App& command) {
    command.description(
            "Compares two calibrations by meaning (two documents, or two device trees of\n"
            "--display): modes and intents added or removed, and per (mode, intent) the LUTs\n"
            "added, removed or changed, with both line numbers. Two parcels are compared entry\n"
            "by entry. With --panel, also what the differences do to the panel's colours: per\n"
            "(mode, intent) whose parcel changed, CIEDE2000 between A's and B's predicted\n"
            "colours over the patch set, and the white point's shift. Exit status as diff's:\n"
            "0 same, 1 different, 2 trouble.");
    auto options = std::make_shared<DiffOptions>();
    command.add_option("A", options->a, "calibration document, device root or parcel")->required();
    command.add_option("B", options->b, "the same kind of input as A")->required();
    command.add_option("--panel", options->panel,
                       "panel description: also compare what A and B make the panel show")
            ->type_name("FILE");
    command.add_option("--target", options->target,
                       "the patches' target with --panel (default: the mode's, else srgb)")
            ->type_name("T");
    return [options](HuevaneToolContext& context) {
        HuevaneLibraryLogGuard quiet(context.common.logLevel);
        if (!options->panel.empty()) return runColourDiff(context, *options);
        return runDiff(options->a, options->b, context.common.display, context.common.json,
                       context.out, context.diagnostics);
    };
}
