#include "SystemServices/linux/CupsDestination.h"

#include <cerrno>

namespace nvrprint::platform {

bool IsPrinterUri(const std::string& name) {
    return name.starts_with("ipp://") || name.starts_with("ipps://");
}

CupsDestination::CupsDestination(Key, std::string name, bool isQueue, cups_dest_t* dest,
                                 http_t* http)
    : m_name(std::move(name)), m_isQueue(isQueue), m_dest(dest), m_http(http) {}

CupsDestination::~CupsDestination() {
    cupsFreeDestInfo(m_info);
    httpClose(m_http);
    cupsFreeDests(1, m_dest);
}

namespace {

struct HttpClose {
    void operator()(http_t* http) const { httpClose(http); }
};
using HttpPtr = std::unique_ptr<http_t, HttpClose>;

// The client library's last error, with the code given.
Failure CupsFailure(int code) {
    return Failure{code, cupsLastErrorString()};
}

}  // namespace

Result<std::unique_ptr<CupsDestination>> CupsDestination::Open(const std::string& name) {
    if (!IsPrinterUri(name)) {
        // A queue is asked through its scheduler, which must be addressed by the very name
        // the client library uses, or the library takes the queue's device for the printer.
        HttpPtr http(httpConnect2(cupsServer(), ippPort(), nullptr, AF_UNSPEC, cupsEncryption(), 1,
                                  30000, nullptr));
        if (!http) {
            return CupsFailure(static_cast<int>(IPP_STATUS_ERROR_SERVICE_UNAVAILABLE));
        }
        CupsDestPtr dest(cupsGetNamedDest(http.get(), name.c_str(), nullptr));
        if (!dest) {
            return CupsFailure(static_cast<int>(cupsLastError()));
        }
        return std::make_unique<CupsDestination>(Key{}, name, true, dest.release(), http.release());
    }
    CupsDestPtr dest(cupsGetDestWithURI(nullptr, name.c_str()));
    if (!dest) {
        return CupsFailure(ENOENT);
    }
    http_t* http = cupsConnectDest(dest.get(), CUPS_DEST_FLAGS_DEVICE, 30000, nullptr, nullptr, 0,
                                   nullptr, nullptr);
    if (http == nullptr) {
        return CupsFailure(errno != 0 ? errno : ECONNREFUSED);
    }
    auto destination = std::make_unique<CupsDestination>(Key{}, name, false, dest.release(), http);
    if (Status loaded = destination->LoadInfo(); !loaded) {
        return loaded.error();
    }
    return destination;
}

Status CupsDestination::LoadInfo() {
    if (m_info == nullptr) {
        m_info = cupsCopyDestInfo(m_http, m_dest);
        if (m_info == nullptr) {
            return CupsFailure(EIO);
        }
    }
    return {};
}

std::string CupsDestination::DefaultKeyword(const char* option) const {
    ipp_attribute_t* attr = cupsFindDestDefault(m_http, m_dest, m_info, option);
    if (attr == nullptr) {
        return {};
    }
    const char* value = ippGetString(attr, 0, nullptr);
    return value != nullptr ? value : "";
}

int CupsDestination::DefaultInteger(const char* option, int fallback) const {
    ipp_attribute_t* attr = cupsFindDestDefault(m_http, m_dest, m_info, option);
    return attr != nullptr ? ippGetInteger(attr, 0) : fallback;
}

bool CupsDestination::Supports(const char* option, const char* value) const {
    return cupsCheckDestSupported(m_http, m_dest, m_info, option, value) != 0;
}

bool CupsDestination::MediaByName(const std::string& media, cups_size_t* size) const {
    return cupsGetDestMediaByName(m_http, m_dest, m_info, media.c_str(), CUPS_MEDIA_FLAGS_DEFAULT,
                                  size) != 0;
}

bool CupsDestination::DefaultMedia(cups_size_t* size) const {
    return cupsGetDestMediaDefault(m_http, m_dest, m_info, CUPS_MEDIA_FLAGS_DEFAULT, size) != 0;
}

}  // namespace nvrprint::platform
