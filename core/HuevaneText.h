// A LUT text as data-LUT lists hand it on: immutable, and never copied byte by byte on its way to
// the parcel. It either borrows a text whose owner outlives every list that holds it (the
// calibration reader keeps its texts for the engine's lifetime) or shares a text that a request
// brought (a colour transform, an extension LUT, a matrix stage's product). Copying one copies a
// pointer; only the parcel copies the bytes, once.
#ifndef HUEVANE_CORE_HUEVANETEXT_H
#define HUEVANE_CORE_HUEVANETEXT_H

#include <cstddef>
#include <memory>
#include <string>
#include <utility>

class HuevaneText {
  public:
    // The empty text.
    HuevaneText() = default;
    // A new text, shared by every copy.
    HuevaneText(std::string text);  // NOLINT(google-explicit-constructor): texts read as strings
    HuevaneText(const char* text) : HuevaneText(std::string(text)) {}  // NOLINT
    // A view of `text`, which must outlive every copy of the view.
    static HuevaneText borrow(const std::string& text) {
        HuevaneText view;
        view.mText = &text;
        return view;
    }

    const std::string& str() const { return mText != nullptr ? *mText : getEmptyText(); }
    operator const std::string&() const { return str(); }  // NOLINT(google-explicit-constructor)
    const char* data() const { return str().data(); }
    const char* c_str() const { return str().c_str(); }
    size_t size() const { return mText != nullptr ? mText->size() : 0; }
    bool empty() const { return size() == 0; }
    // True when both are the same text, not merely equal ones.
    bool isSame(const HuevaneText& other) const { return mText == other.mText; }

  private:
    static const std::string& getEmptyText();

    const std::string* mText = nullptr;
    std::shared_ptr<const std::string> mOwner;  // null for a borrowed text
};

inline bool operator==(const HuevaneText& a, const HuevaneText& b) {
    return a.isSame(b) || a.str() == b.str();
}
inline bool operator!=(const HuevaneText& a, const HuevaneText& b) {
    return !(a == b);
}
inline bool operator==(const HuevaneText& a, const std::string& b) {
    return a.str() == b;
}
inline bool operator==(const std::string& a, const HuevaneText& b) {
    return a == b.str();
}
inline bool operator!=(const HuevaneText& a, const std::string& b) {
    return a.str() != b;
}
inline bool operator!=(const std::string& a, const HuevaneText& b) {
    return a != b.str();
}
inline bool operator==(const HuevaneText& a, const char* b) {
    return a.str() == b;
}
inline bool operator==(const char* a, const HuevaneText& b) {
    return a == b.str();
}

#endif  // HUEVANE_CORE_HUEVANETEXT_H
