#define LOG_TAG "libhuevane"

#include "HuevaneImplColorModeXmlBase.h"

#include <libxml/entities.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlversion.h>
#include <log/log.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <unordered_map>

#include "HuevaneDecimal.h"
#include "HuevaneDeviceFile.h"
#include "HuevaneImplColorModeXml.h"
#include "HuevaneNodeTable.h"

const char* const HuevaneImplColorModeXmlBase::MODE_PROPERTIES[6] = {
        "name", "mode_id", "gamut_name", "gamut_id", "intent_name", "intent_id"};

void HuevaneXmlStringFree::operator()(xmlChar* text) const {
    xmlFree(text);
}

namespace {

// libxml2 refuses entities nested deeper than this while parsing; the walks below stop there
// too, so a tree built some other way cannot recurse without end.
constexpr int MAX_ENTITY_DEPTH = 40;

// The LUT text of one node of a LUT node's list: a text or CDATA node's content, an entity
// reference replaced by the same text of its entity's list; elements are not descended into.
void appendListText(xmlDocPtr document, const xmlNode* list, int depth, std::string* text);

void appendNodeText(xmlDocPtr document, const xmlNode* node, int depth, std::string* text) {
    if (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE) {
        if (node->content != nullptr) text->append(reinterpret_cast<const char*>(node->content));
    } else if (node->type == XML_ENTITY_REF_NODE && depth < MAX_ENTITY_DEPTH) {
        xmlEntityPtr entity = xmlGetDocEntity(document, node->name);
        if (entity != nullptr) {
            appendListText(document, entity->children, depth + 1, text);
        } else if (node->content != nullptr) {
            text->append(reinterpret_cast<const char*>(node->content));
        }
    }
}

// The same for a whole list, in order. One string grows at its end, so the cost is linear in
// the text, however many references.
void appendListText(xmlDocPtr document, const xmlNode* list, int depth, std::string* text) {
    for (const xmlNode* node = list; node != nullptr; node = node->next) {
        appendNodeText(document, node, depth, text);
    }
}

// The length appendListText would produce, with each entity's length computed once: linear in
// the document's nodes however often an entity is referenced. Saturates past the budget.
class LutTextMeasure {
  public:
    explicit LutTextMeasure(xmlDocPtr document) : mDocument(document) {}

    uint64_t getListLength(const xmlNode* list, int depth) {
        uint64_t length = 0;
        for (const xmlNode* node = list; node != nullptr && length <= LIMIT; node = node->next) {
            if (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE) {
                length += getContentLength(node);
            } else if (node->type == XML_ENTITY_REF_NODE) {
                length += getReferenceLength(node, depth);
            }
        }
        return std::min(length, LIMIT + 1);
    }

    uint64_t getReferenceLength(const xmlNode* reference, int depth) {
        if (depth >= MAX_ENTITY_DEPTH) return 0;
        xmlEntityPtr entity = xmlGetDocEntity(mDocument, reference->name);
        if (entity == nullptr) return getContentLength(reference);
        auto known = mEntityLengths.find(entity);
        if (known != mEntityLengths.end()) return known->second;
        uint64_t length = getListLength(entity->children, depth + 1);
        mEntityLengths.emplace(entity, length);
        return length;
    }

  private:
    static constexpr uint64_t LIMIT = HuevaneImplColorModeXmlBase::MAX_LUT_TEXT_BYTES;

    static uint64_t getContentLength(const xmlNode* node) {
        return node->content != nullptr ? strlen(reinterpret_cast<const char*>(node->content)) : 0;
    }

    xmlDocPtr mDocument;
    std::unordered_map<const xmlEntity*, uint64_t> mEntityLengths;
};

bool isLutNode(const xmlNode* node) {
    return node->type == XML_ELEMENT_NODE &&
           huevane::getNodeId(reinterpret_cast<const char*>(node->name)) != 0;
}

// The text of a LUT node set aside while parsing: its text and CDATA contents in order, and
// where among them each entity reference child stood (the references stay in the tree).
struct HeldLutText {
    std::string text;
    std::vector<std::pair<size_t, const xmlNode*>> references;
};

bool isNamed(const xmlNode* node, const char* name) {
    return node != nullptr && HuevaneImplColorModeXmlBase::isElementNamed(node, name);
}

// The document's own <Calib_Data> root, and its mode nodes. (Content parsed for an entity hangs
// under a temporary root, so nothing in it is either.)
bool isCalibrationRoot(const xmlNode* node) {
    return isNamed(node, "Calib_Data") && node->parent != nullptr &&
           node->parent->type == XML_DOCUMENT_NODE;
}

bool isCalibrationMode(const xmlNode* node) {
    return isNamed(node, "mode") && isCalibrationRoot(node->parent);
}

// The LUT texts of a document parsed for the library's reader, which reads each once: they go
// straight into strings instead of through text nodes and back out. Kept with the document
// (its application field) and freed with it.
struct HeldLutTexts {
    // In the order the nodes open, which is the order the reader asks for them; sorted by node
    // the first time a question comes out of that order. A held node's text arrives only while
    // it is open, and the next held node is its sibling, so no node gets two entries.
    std::vector<std::pair<const xmlNode*, HeldLutText>> texts;
    size_t next = 0;  // the entry the next in-order question is for
    bool sorted = false;

    // The held text of the node the parser is filling, or null when its text goes to the tree:
    // only LUT nodes of the root's mode nodes are held.
    HeldLutText* find(const xmlNode* node) {
        if (node == nullptr) return nullptr;
        if (!texts.empty() && texts.back().first == node) return &texts.back().second;
        if (!isLutNode(node) || !isCalibrationMode(node->parent)) return nullptr;
        texts.emplace_back(node, HeldLutText());
        return &texts.back().second;
    }

    HeldLutText* lookup(const xmlNode* node) {
        if (!sorted) {
            if (next < texts.size() && texts[next].first == node) return &texts[next++].second;
            std::sort(texts.begin(), texts.end(),
                      [](const auto& a, const auto& b) { return a.first < b.first; });
            sorted = true;
        }
        auto entry = std::lower_bound(
                texts.begin(), texts.end(), node,
                [](const auto& held, const xmlNode* key) { return held.first < key; });
        return entry != texts.end() && entry->first == node ? &entry->second : nullptr;
    }

    static HeldLutText* of(void* context) {
        auto* parser = static_cast<xmlParserCtxt*>(context);
        auto* held = static_cast<HeldLutTexts*>(parser->_private);
        return held != nullptr ? held->find(parser->node) : nullptr;
    }
};

#if LIBXML_VERSION < 21300
void holdCharacters(void* context, const xmlChar* characters, int length) {
    HeldLutText* held = HeldLutTexts::of(context);
    if (held == nullptr) return xmlSAX2Characters(context, characters, length);
    held->text.append(reinterpret_cast<const char*>(characters), static_cast<size_t>(length));
}

void holdCData(void* context, const xmlChar* value, int length) {
    HeldLutText* held = HeldLutTexts::of(context);
    if (held == nullptr) return xmlSAX2CDataBlock(context, value, length);
    held->text.append(reinterpret_cast<const char*>(value), static_cast<size_t>(length));
}

void holdReference(void* context, const xmlChar* name) {
    HeldLutText* held = HeldLutTexts::of(context);
    xmlNode* parent = static_cast<xmlParserCtxt*>(context)->node;
    const xmlNode* before = parent != nullptr ? parent->last : nullptr;
    xmlSAX2Reference(context, name);
    if (held != nullptr && parent->last != before) {
        held->references.emplace_back(held->text.size(), parent->last);
    }
}
#endif

// A property's value as xmlGetProp gives it, or null when absent. A value that is one text
// node (every value a document spells out) is read in place; `copy` owns any other.
const char* findPropertyText(const xmlNode* node, const char* name, HuevaneXmlString* copy) {
    const xmlAttr* property = xmlHasProp(node, reinterpret_cast<const xmlChar*>(name));
    if (property == nullptr) return nullptr;
    const xmlNode* only = property->children;
    if (property->type == XML_ATTRIBUTE_NODE && only != nullptr && only->next == nullptr &&
        (only->type == XML_TEXT_NODE || only->type == XML_CDATA_SECTION_NODE) &&
        only->content != nullptr) {
        return reinterpret_cast<const char*>(only->content);
    }
    copy->reset(xmlGetProp(node, reinterpret_cast<const xmlChar*>(name)));
    return reinterpret_cast<const char*>(copy->get());
}

HeldLutTexts* getHeldLutTexts(const xmlDoc* document) {
    return static_cast<HeldLutTexts*>(document->_private);
}

// The held text of `node`, or null when the tree holds it.
HeldLutText* findHeldLutText(const xmlDoc* document, const xmlNode* node) {
    HeldLutTexts* held = getHeldLutTexts(document);
    return held != nullptr ? held->lookup(node) : nullptr;
}

// No network, and no DTD, external entity or XInclude is ever loaded (none of those options is
// set). Nothing silences errors: libxml2 reports them under the document's device path.
constexpr int PARSE_OPTIONS = XML_PARSE_NONET;

struct ParserContextFree {
    void operator()(xmlParserCtxt* context) const { xmlFreeParserCtxt(context); }
};

// A new parser context starts from the process-wide defaults, which a host process may have
// changed (entity substitution, external DTD loading, validation). Exactly our options apply.
void setParserOptions(xmlParserCtxt* context) {
#if LIBXML_VERSION >= 21300
    xmlCtxtSetOptions(context, PARSE_OPTIONS);
#else
    // Older libxml2 only ever adds options to a context, so each default is undone by hand.
    context->options = PARSE_OPTIONS;
    context->replaceEntities = 0;
    context->loadsubset = 0;
    context->validate = 0;
    context->pedantic = 0;
    context->keepBlanks = 1;
    context->sax->ignorableWhitespace = context->sax->characters;
#endif
}

// The bytes of a document, read from its descriptor in large pieces and handed to libxml2 in
// the small ones it asks for, so it parses as it reads (as xmlParseFile does): few system
// calls, no mapping to set up and tear down, and no copy of the whole document in fresh pages,
// whose first touches can cost more than parsing them. Reads stop at the largest document the
// reader takes, however the file grows meanwhile.
class DocumentReader {
  public:
    explicit DocumentReader(int fd) : mFd(fd), mBuffer(new char[CHUNK_BYTES]) {}

    static int read(void* context, char* bytes, int length) {
        return static_cast<DocumentReader*>(context)->read(bytes, length);
    }

  private:
    static constexpr size_t CHUNK_BYTES = size_t{256} << 10;

    int read(char* bytes, int length) {
        if (mNext == mEnd && !fill()) return mFailed ? -1 : 0;
        size_t count = std::min(mEnd - mNext, static_cast<size_t>(std::max(length, 0)));
        memcpy(bytes, mBuffer.get() + mNext, count);
        mNext += count;
        return static_cast<int>(count);
    }

    bool fill() {
        const uint64_t left =
                static_cast<uint64_t>(HuevaneImplColorModeXmlBase::MAX_DOCUMENT_BYTES) - mTotal;
        if (left == 0) return false;
        ssize_t got;
        do {
            got = ::read(mFd, mBuffer.get(), std::min<uint64_t>(CHUNK_BYTES, left));
        } while (got < 0 && errno == EINTR);
        if (got <= 0) {
            mFailed = got < 0;
            return false;
        }
        mNext = 0;
        mEnd = static_cast<size_t>(got);
        mTotal += mEnd;
        return true;
    }

    int mFd;
    std::unique_ptr<char[]> mBuffer;
    size_t mNext = 0;
    size_t mEnd = 0;
    uint64_t mTotal = 0;
    bool mFailed = false;
};

HuevaneXmlDoc readDocument(xmlParserCtxt* context, int fd, const std::string& url, bool bigLines) {
    DocumentReader reader(fd);
    const int options = bigLines ? PARSE_OPTIONS | XML_PARSE_BIG_LINES : PARSE_OPTIONS;
    return HuevaneXmlDoc(xmlCtxtReadIO(context, DocumentReader::read, nullptr, &reader, url.c_str(),
                                       nullptr, options));
}

// Opens, checks and parses one candidate; `record` receives what became of it. The document
// only when it is one the reader takes.
HuevaneXmlDoc readCandidate(const std::string& name, bool account,
                            huevane::HuevaneDocumentRecord* record) {
    using Document = huevane::HuevaneDocumentRecord;
    record->path = name;
    huevane::HuevaneFd fd;
    int64_t size = 0;
    switch (huevane::openDeviceFile(name, &fd, &size)) {
        case huevane::HuevaneFileOpen::NOT_OPENED:
            record->outcome = Document::NOT_FOUND;
            record->error = errno;
            return nullptr;
        case huevane::HuevaneFileOpen::NOT_REGULAR:
            ALOGE("%s is not a regular file\n", name.c_str());
            record->outcome = Document::NOT_A_FILE;
            return nullptr;
        case huevane::HuevaneFileOpen::OPENED:
            break;
    }
    if (size > HuevaneImplColorModeXmlBase::MAX_DOCUMENT_BYTES) {
        ALOGE("%s is larger than %lld bytes\n", name.c_str(),
              static_cast<long long>(HuevaneImplColorModeXmlBase::MAX_DOCUMENT_BYTES));
        record->outcome = Document::TOO_LARGE;
        return nullptr;
    }
    // An account wants every node's line, which held texts would take from the LUT nodes.
    HuevaneXmlDoc parsed =
            HuevaneImplColorModeXmlBase::parseColorModeFile(fd.get(), name, !account, account);
    if (!parsed) {
        record->outcome = Document::NOT_PARSED;  // libxml2's own report names the file
        return nullptr;
    }
    if (HuevaneImplColorModeXmlBase::getLutTextsLength(parsed.get()) >
        HuevaneImplColorModeXmlBase::MAX_LUT_TEXT_BYTES) {
        ALOGE("%s: entity references take its LUT texts past %llu bytes\n", name.c_str(),
              static_cast<unsigned long long>(HuevaneImplColorModeXmlBase::MAX_LUT_TEXT_BYTES));
        record->outcome = Document::TEXT_BUDGET;
        return nullptr;
    }
    record->outcome = Document::USED;
    return parsed;
}

}  // namespace

void HuevaneXmlDocFree::operator()(xmlDoc* document) const {
    delete getHeldLutTexts(document);
    xmlFreeDoc(document);
}

HuevaneXmlDoc HuevaneImplColorModeXmlBase::openColorModeFile(
        std::vector<std::string>& names, huevane::HuevaneCalibrationAccount* account, bool sub) {
    for (const std::string& name : names) {
        if (name.empty()) continue;
        huevane::HuevaneDocumentRecord record;
        record.sub = sub;
        HuevaneXmlDoc document = readCandidate(name, account != nullptr, &record);
        if (account != nullptr) account->documents.push_back(record);
        if (!document) continue;
        ALOGI("%s opened\n", name.c_str());
        return document;
    }
    return nullptr;
}

HuevaneXmlDoc HuevaneImplColorModeXmlBase::parseColorModeFile(int fd, const std::string& url,
                                                              bool holdLutTexts, bool bigLines) {
    // Older libxml2 sets itself up on first use without a lock; displays may be created on
    // several threads at once, so it is set up exactly once here.
    static const bool PARSER_READY = (xmlInitParser(), true);
    (void)PARSER_READY;
    std::unique_ptr<xmlParserCtxt, ParserContextFree> context(xmlNewParserCtxt());
    if (!context) return nullptr;
    setParserOptions(context.get());
    std::unique_ptr<HeldLutTexts> held;
#if LIBXML_VERSION < 21300
    // (Newer libxml2 resets the handlers with the options; there the texts stay in the tree.)
    if (holdLutTexts) {
        held = std::make_unique<HeldLutTexts>();
        context->_private = held.get();
        // One handler for both keeps every blank run reported as text, as the options ask.
        context->sax->characters = holdCharacters;
        context->sax->ignorableWhitespace = holdCharacters;
        context->sax->cdataBlock = holdCData;
        context->sax->reference = holdReference;
    }
#else
    (void)holdLutTexts;
#endif
    HuevaneXmlDoc document = readDocument(context.get(), fd, url, bigLines);
    if (document && held) document->_private = held.release();
    return document;
}

uint64_t HuevaneImplColorModeXmlBase::getLutTextsLength(xmlDocPtr document) {
    xmlNodePtr root = xmlDocGetRootElement(document);
    if (root == nullptr) return 0;
    LutTextMeasure measure(document);
    uint64_t length = 0;
    const HeldLutTexts* held = getHeldLutTexts(document);
    if (held != nullptr && isCalibrationRoot(root)) {
        // Every LUT text of a mode node was held: its own text is counted here, and only its
        // entity references stayed in the tree.
        for (auto entry = held->texts.begin();
             entry != held->texts.end() && length <= MAX_LUT_TEXT_BYTES; ++entry) {
            length += entry->second.text.size();
            for (const auto& reference : entry->second.references) {
                length += measure.getReferenceLength(reference.second, 0);
            }
        }
        return std::min(length, MAX_LUT_TEXT_BYTES + 1);
    }
    for (xmlNodePtr mode = root->children; mode != nullptr && length <= MAX_LUT_TEXT_BYTES;
         mode = mode->next) {
        if (!isElementNamed(mode, "mode")) continue;
        for (xmlNodePtr node = mode->children; node != nullptr && length <= MAX_LUT_TEXT_BYTES;
             node = node->next) {
            if (isLutNode(node)) length += measure.getListLength(node->children, 0);
        }
    }
    return std::min(length, MAX_LUT_TEXT_BYTES + 1);
}

uint32_t HuevaneImplColorModeXmlBase::getValueFromXmlProperty(xmlNodePtr& node,
                                                              const char* propertyName) {
    HuevaneXmlString copy;
    const char* text = findPropertyText(node, propertyName, &copy);
    if (text == nullptr) return PVX_VALUE_ABSENT;
    // A value that is not a signed 32-bit number reads as absent.
    int64_t value = 0;
    if (!huevane::parseDecimal(text, text + strlen(text), &value) || value < INT32_MIN ||
        value > INT32_MAX) {
        return PVX_VALUE_ABSENT;
    }
    return static_cast<uint32_t>(static_cast<int32_t>(value));
}

bool HuevaneImplColorModeXmlBase::getTextFromXmlProperty(xmlNodePtr& node, const char* propertyName,
                                                         std::string* text) {
    HuevaneXmlString copy;
    const char* value = findPropertyText(node, propertyName, &copy);
    if (value == nullptr) return false;
    text->assign(value);
    return true;
}

bool HuevaneImplColorModeXmlBase::hasXmlProperty(xmlNodePtr& node, const char* propertyName) {
    HuevaneXmlString copy;
    return findPropertyText(node, propertyName, &copy) != nullptr;
}

bool HuevaneImplColorModeXmlBase::isElementNamed(const xmlNode* node, const char* name) {
    return node->type == XML_ELEMENT_NODE &&
           xmlStrcmp(node->name, reinterpret_cast<const xmlChar*>(name)) == 0;
}

xmlNodePtr HuevaneImplColorModeXmlBase::getTuneModeNode(xmlNodePtr root) {
    for (xmlNodePtr child = root->children; child != nullptr; child = child->next) {
        std::string name;
        if (isElementNamed(child, "mode") && getTextFromXmlProperty(child, "name", &name) &&
            name == "tune") {
            return child;
        }
    }
    return nullptr;
}

std::string HuevaneImplColorModeXmlBase::getLutText(xmlDocPtr document, const xmlNode* node) {
    HeldLutText* held = findHeldLutText(document, node);
    if (held == nullptr) {
        std::string text;
        appendListText(document, node->children, 0, &text);
        return text;
    }
    // Handed over, not copied: the reader takes each LUT text once.
    HeldLutText taken = std::move(*held);
    *held = HeldLutText();
    if (taken.references.empty()) return std::move(taken.text);
    std::string text;
    size_t from = 0;
    for (const auto& reference : taken.references) {
        text.append(taken.text, from, reference.first - from);
        appendNodeText(document, reference.second, 0, &text);
        from = reference.first;
    }
    text.append(taken.text, from, std::string::npos);
    return text;
}
