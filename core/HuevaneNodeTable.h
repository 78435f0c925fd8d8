// The hardware nodes a LUT can feed, indexed by node id: the id written into every data-LUT
// header. The one table of names, used by the reader, the extension source, the parcel reader and
// huevane-tool alike.
#ifndef HUEVANE_CORE_HUEVANENODETABLE_H
#define HUEVANE_CORE_HUEVANENODETABLE_H

#include <cstdint>
#include <string>

namespace huevane {

constexpr int PVX_COLORMODE_NODE_COUNT = 13;

// Entry 0 names no LUT: node id 0 never stands for a node.
inline constexpr const char* PVX_COLORMODE_NODE[PVX_COLORMODE_NODE_COUNT] = {
        nullptr, "cgc17_enc",     "cgc17_con", "cgc_dither", "degamma",
        "gamma", "gamma_matrix",  "hsc48_lcg", "hsc",        "scl",
        "de",    "linear_matrix", "atc"};

// The two nodes whose texts the matrix stages combine.
constexpr uint8_t PVX_NODE_GAMMA_MATRIX = 6;
constexpr uint8_t PVX_NODE_LINEAR_MATRIX = 11;

constexpr bool isSameName(const char* a, const char* b) {
    while (*a != '\0' && *a == *b) {
        a++;
        b++;
    }
    return *a == *b;
}

// The node name of `id`; null for 0, negative ids and ids past the table.
constexpr const char* getNodeName(int64_t id) {
    return id >= 1 && id < PVX_COLORMODE_NODE_COUNT ? PVX_COLORMODE_NODE[id] : nullptr;
}

// The node id of a LUT node name; 0 when the name is no LUT node.
constexpr uint32_t getNodeId(const char* name) {
    if (name == nullptr) return 0;
    for (uint32_t id = 1; id < PVX_COLORMODE_NODE_COUNT; id++) {
        if (isSameName(name, PVX_COLORMODE_NODE[id])) return id;
    }
    return 0;
}

constexpr bool isMatrixNode(uint32_t id) {
    return id == PVX_NODE_GAMMA_MATRIX || id == PVX_NODE_LINEAR_MATRIX;
}

static_assert(getNodeId("gamma_matrix") == PVX_NODE_GAMMA_MATRIX, "gamma_matrix is node 6");
static_assert(getNodeId("linear_matrix") == PVX_NODE_LINEAR_MATRIX, "linear_matrix is node 11");

// How people read a node id: its name, or "node N" for an id without one.
inline std::string getNodeLabel(int64_t id) {
    const char* name = getNodeName(id);
    return name != nullptr ? name : "node " + std::to_string(id);
}

}  // namespace huevane

#endif  // HUEVANE_CORE_HUEVANENODETABLE_H
