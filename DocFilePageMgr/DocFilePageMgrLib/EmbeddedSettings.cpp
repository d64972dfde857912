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

#include "logging/TextCodec.h"
#include "logging/TraceSink.h"

namespace docmgr {
namespace {

constexpr char kCarrierKey[] = "/Norvan";
constexpr char kSettingsKey[] = "/NvrPrintJobSettings";

// Trace events of the chain, by the step that broke.
enum : uint16_t {
    kOpenFailed = 34,
    kParseFailed = 35,
    kNoFirstPage = 36,
    kPageNotDictionary = 37,
    kCarrierNotReference = 38,
    kCarrierNotDictionary = 39,
    kSettingsNotLiteralString = 40,
    kNoSettingsKey = 41,
    kNoCarrierKey = 42,
};

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

EmbeddedSettingsResult Fail(uint16_t event) {
    return {std::string(), event};
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
        return {settings.getStringValue(), 0};
    } catch (const std::exception&) {
        return Fail(kParseFailed);
    }
}

std::string ExtractEmbeddedSettings(const std::string& utf8Path) {
    EmbeddedSettingsResult result = ReadEmbeddedSettings(utf8Path);
    if (result.failureEvent != 0) {
        constexpr uint32_t kErrorClass = 0x1;
        constexpr uint8_t kMinimumLevel = 9;
        if (result.failureEvent == kOpenFailed || result.failureEvent == kParseFailed) {
            std::u32string path = nvrprint::text::Utf8ToUtf32(utf8Path);
            nvrprint::trace::WriteEvent(nvrprint::trace::MessageSet::EmbeddedSettings,
                                        result.failureEvent, kErrorClass, kMinimumLevel,
                                        {std::u32string_view(path)});
        } else {
            nvrprint::trace::WriteEvent(nvrprint::trace::MessageSet::EmbeddedSettings,
                                        result.failureEvent, kErrorClass, kMinimumLevel, {});
        }
    }
    return result.json;
}

}  // namespace docmgr
