#include "DocFilePageMgr/DocFilePageMgrLib/EmbeddedSettings.h"

#include <qpdf/Buffer.hh>
#include <qpdf/BufferInputSource.hh>
#include <qpdf/FileInputSource.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFObjectHandle.hh>
#include <qpdf/QPDFTokenizer.hh>

#include <memory>
#include <optional>
#include <sstream>

#include "logging/LogMacros.h"

namespace docmgr {
namespace {

constexpr char kCarrierKey[] = "/Norvan";
constexpr char kSettingsKey[] = "/NvrPrintJobSettings";

// Where the chain from the first page breaks, as the log tells it.
constexpr const char* kOpenFailed = "the file cannot be opened";
constexpr const char* kParseFailed = "the file cannot be read as a PDF";
constexpr const char* kNoFirstPage = "the document has no first page";
constexpr const char* kPageNotDictionary = "the first page is not a dictionary";
constexpr const char* kCarrierNotReference = "/Norvan is not an indirect reference";
constexpr const char* kCarrierNotDictionary = "/Norvan does not lead to a dictionary";
constexpr const char* kSettingsNotLiteralString = "/NvrPrintJobSettings is not a literal string";
constexpr const char* kNoSettingsKey = "the carrier has no /NvrPrintJobSettings";
constexpr const char* kNoCarrierKey = "the first page has no /Norvan";

// qpdf hides two things the carrier depends on: how a string was written (literal or
// hexadecimal) and whether a key is present when its value resolves to nothing. Both are
// answered from the object's own bytes: the first token after the key in the dictionary's
// top level. Returns nothing when the key or the bytes cannot be found.
std::optional<QPDFTokenizer::Token> RawTokenAfterKey(QPDF& pdf, const std::string& path,
                                                     QPDFObjGen objGen, const std::string& key) {
    auto xref = pdf.getXRefTable();
    auto entry = xref.find(objGen);
    if (entry == xref.end()) {
        return std::nullopt;
    }
    std::shared_ptr<InputSource> source;
    std::shared_ptr<Buffer> streamData;
    if (entry->second.getType() == 1) {
        source = std::make_shared<FileInputSource>(path.c_str());
        source->seek(entry->second.getOffset(), SEEK_SET);
    } else if (entry->second.getType() == 2) {
        QPDFObjectHandle objectStream = pdf.getObject(entry->second.getObjStreamNumber(), 0);
        if (!objectStream.isStream()) {
            return std::nullopt;
        }
        streamData = objectStream.getStreamData(qpdf_dl_generalized);
        int first = objectStream.getDict().getKey("/First").getIntValueAsInt();
        int count = objectStream.getDict().getKey("/N").getIntValueAsInt();
        std::string header(reinterpret_cast<const char*>(streamData->getBuffer()),
                           std::min<size_t>(streamData->getSize(), static_cast<size_t>(first)));
        std::istringstream pairs(header);
        long long number = 0;
        long long offset = -1;
        for (int i = 0; i < count && pairs >> number >> offset; ++i) {
            if (number == objGen.getObj()) {
                break;
            }
            offset = -1;
        }
        if (offset < 0) {
            return std::nullopt;
        }
        source = std::make_shared<BufferInputSource>("object stream", streamData.get());
        source->seek(first + offset, SEEK_SET);
    } else {
        return std::nullopt;
    }

    QPDFTokenizer tokenizer;
    tokenizer.allowEOF();
    int depth = 0;
    bool afterKey = false;
    for (;;) {
        QPDFTokenizer::Token token = tokenizer.readToken(source, "settings", true);
        switch (token.getType()) {
            case QPDFTokenizer::tt_eof:
            case QPDFTokenizer::tt_bad:
                return std::nullopt;
            case QPDFTokenizer::tt_dict_open:
            case QPDFTokenizer::tt_array_open:
                if (afterKey) {
                    return token;
                }
                ++depth;
                break;
            case QPDFTokenizer::tt_dict_close:
            case QPDFTokenizer::tt_array_close:
                if (--depth <= 0) {
                    return std::nullopt;
                }
                break;
            default:
                break;
        }
        if (afterKey) {
            return token;
        }
        // A name equal to the key may also stand as a value; callers know from qpdf what
        // kind of value the key has and check the token against it.
        afterKey =
            depth == 1 && token.getType() == QPDFTokenizer::tt_name && token.getValue() == key;
    }
}

EmbeddedSettingsResult Fail(const char* why) {
    return {std::string(), why};
}

}  // namespace

EmbeddedSettingsResult ReadEmbeddedSettings(const std::string& utf8Path) {
    try {
        FILE* probe = std::fopen(utf8Path.c_str(), "rb");
        if (probe == nullptr) {
            return Fail(kOpenFailed);
        }
        std::fclose(probe);

        QPDF pdf;
        pdf.setSuppressWarnings(true);
        try {
            pdf.processFile(utf8Path.c_str());
        } catch (const std::exception&) {
            return Fail(kParseFailed);
        }

        const std::vector<QPDFObjectHandle>& pages = pdf.getAllPages();
        if (pages.empty()) {
            return Fail(kNoFirstPage);
        }
        QPDFObjectHandle page = pages.front();
        if (!page.isDictionary()) {
            return Fail(kPageNotDictionary);
        }
        if (!page.hasKey(kCarrierKey)) {
            // A reference to a missing object reads as an absent key; the bytes tell apart.
            auto raw = RawTokenAfterKey(pdf, utf8Path, page.getObjGen(), kCarrierKey);
            bool reference = raw && raw->getType() == QPDFTokenizer::tt_integer;
            return Fail(reference ? kCarrierNotDictionary : kNoCarrierKey);
        }
        QPDFObjectHandle carrier = page.getKey(kCarrierKey);
        if (!carrier.isIndirect()) {
            return Fail(kCarrierNotReference);
        }
        if (!carrier.isDictionary()) {
            return Fail(kCarrierNotDictionary);
        }
        if (!carrier.hasKey(kSettingsKey)) {
            return Fail(kNoSettingsKey);
        }
        QPDFObjectHandle settings = carrier.getKey(kSettingsKey);
        if (settings.isIndirect() || !settings.isString()) {
            return Fail(kSettingsNotLiteralString);
        }
        auto raw = RawTokenAfterKey(pdf, utf8Path, carrier.getObjGen(), kSettingsKey);
        if (!raw || raw->getType() != QPDFTokenizer::tt_string ||
            !raw->getRawValue().starts_with("(")) {
            return Fail(kSettingsNotLiteralString);
        }
        return {settings.getStringValue(), {}};
    } catch (const std::exception&) {
        return Fail(kParseFailed);
    }
}

std::string ExtractEmbeddedSettings(const std::string& utf8Path) {
    EmbeddedSettingsResult result = ReadEmbeddedSettings(utf8Path);
    if (!result.failure.empty()) {
        NVR_LOG_DEBUG("No embedded settings: {}", result.failure);
    }
    return result.json;
}

}  // namespace docmgr
