// The matrix stage of one matrix node: remembers the last matrix of each source and emits, for
// every matrix LUT it takes, one LUT carrying the product of all matrices it holds.
#ifndef HUEVANE_SOURCES_HUEVANEIMPLMATRIX_H
#define HUEVANE_SOURCES_HUEVANEIMPLMATRIX_H

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "HuevaneDataLut.h"
#include "HuevaneMatrixText.h"

class HuevaneImplMatrix {
  public:
    explicit HuevaneImplMatrix(uint8_t nodeId) : mNodeId(nodeId) {}

    // 0 when the stage took the LUT (its node, valid matrix text), 1 otherwise.
    int32_t setDataLuts(int sourceKind, const HuevaneDataLut& lut);
    // 0 when the text was accepted, 1 when rejected (stored matrices unchanged).
    int32_t parseMatrix(int sourceKind, const std::string& text);
    void putDataLuts(const pvx_colormode_data_header& header, std::string text);
    static std::string getMatrixToString(huevane::mat4& m);
    HuevaneDataLutList getDataLuts();
    void clearDataLuts();
    // For inspection: the stored matrices by source kind in first-insertion order, how many
    // LUTs the stage has emitted, and its node.
    const std::vector<std::pair<int, huevane::mat4>>& getMatrices() const { return mMatrices; }
    size_t getDataLutsCount() const { return mDataLuts.size(); }
    // The emitted LUTs themselves, for the engine's update, which needs no copy of them.
    const HuevaneDataLutList& getEmittedDataLuts() const { return mDataLuts; }
    uint8_t getNodeId() const { return mNodeId; }

  private:
    // A matrix text as read: the same calibration and transform texts come back on every update.
    struct ReadText {
        HuevaneText text;
        bool valid = false;
        bool enabled = false;
        huevane::mat4 matrix{};
    };
    // What `text` reads as; remembered per source kind (0 to 2), read afresh for any other. A
    // text offered again is known by its identity, without comparing its bytes.
    const ReadText& readText(int sourceKind, const HuevaneText& text);
    // parseMatrix of a text that lists share.
    int32_t parseMatrixText(int sourceKind, const HuevaneText& text);
    // The product of the stored matrices as a text, with the header fields that depend on it.
    void updateCombined();

    // Source kind -> matrix, kept in first-insertion order: the product visits the newest key
    // first, and replacing a matrix keeps its key's place. At most three entries.
    std::vector<std::pair<int, huevane::mat4>> mMatrices;
    HuevaneDataLutList mDataLuts;
    uint8_t mNodeId;

    // What the update path remembers between updates. On the heap from the first offered LUT
    // on, so that building an engine costs no more memory than it did without it.
    struct Memo {
        std::array<ReadText, 3> readTexts;
        ReadText scratch;
        // The product of mMatrices as text, its header carrying that text's total_size and crc;
        // stale once a stored matrix changes. Each product is a new text, which every LUT the
        // stage emits for it shares.
        HuevaneDataLut combined;
        bool combinedValid = false;
    };
    Memo& memo();

    std::unique_ptr<Memo> mMemo;
};

#endif  // HUEVANE_SOURCES_HUEVANEIMPLMATRIX_H
