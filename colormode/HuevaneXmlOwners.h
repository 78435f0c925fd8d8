// Owners of what libxml2 hands out: a parsed document and a string. Each is freed by its owner
// on every path, so no caller frees one by hand. The declarations below match libxml2's own,
// so code that includes this header does not pull in libxml2's headers.
#ifndef HUEVANE_COLORMODE_HUEVANEXMLOWNERS_H
#define HUEVANE_COLORMODE_HUEVANEXMLOWNERS_H

#include <memory>

typedef unsigned char xmlChar;
// libxml2's own tag names, declared as its headers declare them.
typedef struct _xmlDoc xmlDoc;  // NOLINT(bugprone-reserved-identifier)
typedef xmlDoc* xmlDocPtr;
typedef struct _xmlNode xmlNode;  // NOLINT(bugprone-reserved-identifier)
typedef xmlNode* xmlNodePtr;

struct HuevaneXmlDocFree {
    void operator()(xmlDoc* document) const;
};
using HuevaneXmlDoc = std::unique_ptr<xmlDoc, HuevaneXmlDocFree>;

struct HuevaneXmlStringFree {
    void operator()(xmlChar* text) const;
};
using HuevaneXmlString = std::unique_ptr<xmlChar, HuevaneXmlStringFree>;

#endif  // HUEVANE_COLORMODE_HUEVANEXMLOWNERS_H
