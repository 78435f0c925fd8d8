#define LOG_TAG "libhuevane"

#include "HuevaneImplColorModeXmlBase.h"

#include <libxml/entities.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlversion.h>
#include <log/log.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <unordered_map>

#include "HuevaneDecimal.h"
#include "HuevaneImplColorModeXml.h"
#include "HuevaneImplUtil.h"

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

  private:
    static constexpr uint64_t LIMIT = HuevaneImplColorModeXmlBase::MAX_LUT_TEXT_BYTES;

    static uint64_t getContentLength(const xmlNode* node) {
        return node->content != nullptr ? strlen(reinterpret_cast<const char*>(node->content)) : 0;
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

    xmlDocPtr mDocument;
    std::unordered_map<const xmlEntity*, uint64_t> mEntityLengths;
};

bool isLutNode(const xmlNode* node) {
    for (int id = 1; id < HuevaneImplColorModeXml::PVX_COLORMODE_NODE_COUNT; id++) {
        if (HuevaneImplColorModeXmlBase::isElementNamed(
                    node, HuevaneImplColorModeXml::getPvxColorModeNode(id))) {
            return true;
        }
    }
    return false;
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

// The LUT texts of a document parsed for the library's reader, which reads each once: they go
// straight into strings instead of through text nodes and back out. Kept with the document
// (its application field) and freed with it.
struct HeldLutTexts {
    std::unordered_map<const xmlNode*, HeldLutText> texts;
    const xmlNode* lastNode = nullptr;  // most calls continue the node of the one before
    HeldLutText* last = nullptr;

    // The held text of the node the parser is filling, or null when its text goes to the tree:
    // only LUT nodes of a mode node under the document's own <Calib_Data> root are held. Content
    // parsed for an entity hangs under a temporary root, so it never qualifies.
    HeldLutText* find(const xmlNode* node) {
        if (node == lastNode) return last;
        if (node == nullptr || node->type != XML_ELEMENT_NODE || !isNamed(node->parent, "mode") ||
            !isNamed(node->parent->parent, "Calib_Data") ||
            node->parent->parent->parent == nullptr ||
            node->parent->parent->parent->type != XML_DOCUMENT_NODE || !isLutNode(node)) {
            return nullptr;
        }
        lastNode = node;
        last = &texts[node];
        return last;
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

HeldLutTexts* getHeldLutTexts(const xmlDoc* document) {
    return static_cast<HeldLutTexts*>(document->_private);
}

// The held text of `node`, or null when the tree holds it.
HeldLutText* findHeldLutText(const xmlDoc* document, const xmlNode* node) {
    HeldLutTexts* held = getHeldLutTexts(document);
    if (held == nullptr) return nullptr;
    auto entry = held->texts.find(node);
    return entry != held->texts.end() ? &entry->second : nullptr;
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

HuevaneXmlDoc readDocument(xmlParserCtxt* context, int fd, const std::string& url) {
    // A regular file is parsed from a read-only mapping: one pass over the bytes, without the
    // reader's chunked copies. Its pages are mapped all at once (one fault per page costs more
    // than the copy libxml2 makes). Anything that cannot be mapped is read from the descriptor.
    struct stat status {};
    if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > 0 &&
        status.st_size <= HuevaneImplColorModeXmlBase::MAX_DOCUMENT_BYTES) {
        const size_t size = static_cast<size_t>(status.st_size);
        void* bytes = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd, 0);
        if (bytes != MAP_FAILED) {
            HuevaneXmlDoc document(xmlCtxtReadMemory(context, static_cast<const char*>(bytes),
                                                     static_cast<int>(size), url.c_str(), nullptr,
                                                     PARSE_OPTIONS));
            munmap(bytes, size);
            return document;
        }
    }
    return HuevaneXmlDoc(xmlCtxtReadFd(context, fd, url.c_str(), nullptr, PARSE_OPTIONS));
}

// Opens, checks and parses one existing candidate. False when the name does not exist (or
// cannot be opened), which the caller passes over silently as before.
bool readCandidate(const std::string& name, HuevaneXmlDoc* document,
                   HuevaneCalibrationDocument::Outcome* outcome, bool holdLutTexts) {
    using Document = HuevaneCalibrationDocument;
    HuevaneFd fd;
    int64_t size = 0;
    switch (HuevaneImplUtil::openRegularFile(name, &fd, &size)) {
        case HuevaneFileOpen::NOT_OPENED:
            return false;
        case HuevaneFileOpen::NOT_REGULAR:
            ALOGE("%s is not a regular file\n", name.c_str());
            *outcome = Document::NOT_A_FILE;
            return true;
        case HuevaneFileOpen::OPENED:
            break;
    }
    if (size > HuevaneImplColorModeXmlBase::MAX_DOCUMENT_BYTES) {
        ALOGE("%s is larger than %lld bytes\n", name.c_str(),
              static_cast<long long>(HuevaneImplColorModeXmlBase::MAX_DOCUMENT_BYTES));
        *outcome = Document::TOO_LARGE;
        return true;
    }
    HuevaneXmlDoc parsed =
            HuevaneImplColorModeXmlBase::parseColorModeFile(fd.get(), name, holdLutTexts);
    if (!parsed) {
        *outcome = Document::NOT_PARSED;  // libxml2's own report names the file
        return true;
    }
    if (HuevaneImplColorModeXmlBase::getLutTextsLength(parsed.get()) >
        HuevaneImplColorModeXmlBase::MAX_LUT_TEXT_BYTES) {
        ALOGE("%s: entity references take its LUT texts past %llu bytes\n", name.c_str(),
              static_cast<unsigned long long>(HuevaneImplColorModeXmlBase::MAX_LUT_TEXT_BYTES));
        *outcome = Document::TEXT_BUDGET;
        return true;
    }
    *document = std::move(parsed);
    *outcome = Document::USED;
    return true;
}

}  // namespace

void HuevaneXmlDocFree::operator()(xmlDoc* document) const {
    delete getHeldLutTexts(document);
    xmlFreeDoc(document);
}

HuevaneXmlDoc HuevaneImplColorModeXmlBase::openColorModeFile(std::vector<std::string>& names,
                                                             HuevaneCalibrationDocuments* opened,
                                                             bool holdLutTexts) {
    for (const std::string& name : names) {
        if (name.empty()) continue;
        HuevaneXmlDoc document;
        HuevaneCalibrationDocument::Outcome outcome = HuevaneCalibrationDocument::NOT_PARSED;
        if (!readCandidate(name, &document, &outcome, holdLutTexts)) continue;
        if (opened != nullptr) opened->push_back({name, outcome});
        if (!document) continue;
        ALOGI("%s opened\n", name.c_str());
        return document;
    }
    return nullptr;
}

HuevaneXmlDoc HuevaneImplColorModeXmlBase::parseColorModeFile(int fd, const std::string& url,
                                                              bool holdLutTexts) {
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
    HuevaneXmlDoc document = readDocument(context.get(), fd, url);
    if (document && held) document->_private = held.release();
    return document;
}

uint64_t HuevaneImplColorModeXmlBase::getLutTextsLength(xmlDocPtr document) {
    xmlNodePtr root = xmlDocGetRootElement(document);
    if (root == nullptr) return 0;
    LutTextMeasure measure(document);
    uint64_t length = 0;
    for (xmlNodePtr mode = root->children; mode != nullptr && length <= MAX_LUT_TEXT_BYTES;
         mode = mode->next) {
        if (!isElementNamed(mode, "mode")) continue;
        for (xmlNodePtr node = mode->children; node != nullptr && length <= MAX_LUT_TEXT_BYTES;
             node = node->next) {
            if (!isLutNode(node)) continue;
            // A held text is counted here; its entity references stay in the tree.
            if (const HeldLutText* held = findHeldLutText(document, node)) {
                length += held->text.size();
            }
            length += measure.getListLength(node->children, 0);
        }
    }
    return length;
}

uint32_t HuevaneImplColorModeXmlBase::getValueFromXmlProperty(xmlNodePtr& node,
                                                              const char* propertyName) {
    std::string text;
    if (!getTextFromXmlProperty(node, propertyName, &text)) return PVX_VALUE_ABSENT;
    // A value that is not a signed 32-bit number reads as absent.
    int64_t value = 0;
    if (!huevane::parseDecimal(text.data(), text.data() + text.size(), &value) ||
        value < INT32_MIN || value > INT32_MAX) {
        return PVX_VALUE_ABSENT;
    }
    return static_cast<uint32_t>(static_cast<int32_t>(value));
}

bool HuevaneImplColorModeXmlBase::getTextFromXmlProperty(xmlNodePtr& node, const char* propertyName,
                                                         std::string* text) {
    HuevaneXmlString value(xmlGetProp(node, reinterpret_cast<const xmlChar*>(propertyName)));
    if (!value) return false;
    text->assign(reinterpret_cast<const char*>(value.get()));
    return true;
}

bool HuevaneImplColorModeXmlBase::hasXmlProperty(xmlNodePtr& node, const char* propertyName) {
    return HuevaneXmlString(xmlGetProp(node, reinterpret_cast<const xmlChar*>(propertyName))) !=
           nullptr;
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
