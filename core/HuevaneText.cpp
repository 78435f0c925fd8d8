#include "HuevaneText.h"

HuevaneText::HuevaneText(std::string text) {
    // The empty text needs no storage: every empty text is the same.
    if (text.empty()) return;
    mOwner = std::make_shared<const std::string>(std::move(text));
    mText = mOwner.get();
}

const std::string& HuevaneText::getEmptyText() {
    static const std::string EMPTY;
    return EMPTY;
}
