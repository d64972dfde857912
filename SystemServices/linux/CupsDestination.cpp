#include "SystemServices/linux/CupsDestination.h"

#include <cerrno>

namespace nvrprint::platform {

bool IsPrinterUri(const std::string& name) {
    return name.starts_with("ipp://") || name.starts_with("ipps://");
}

CupsDestination::CupsDestination(Key, std::string name, bool isQueue, cups_dest_t* dest,
                                 http_t* http, cups_dinfo_t* info)
    : m_name(std::move(name)), m_isQueue(isQueue), m_dest(dest), m_http(http), m_info(info) {}

CupsDestination::~CupsDestination() {
    cupsFreeDestInfo(m_info);
    httpClose(m_http);
    cupsFreeDests(1, m_dest);
}

CupsDestPtr CupsDestination::Find(const std::string& name, int* error, std::string* reason) {
    cups_dest_t* dest = IsPrinterUri(name)
                            ? cupsGetDestWithURI(nullptr, name.c_str())
                            : cupsGetNamedDest(CUPS_HTTP_DEFAULT, name.c_str(), nullptr);
    if (dest == nullptr) {
        // A queue the scheduler does not know answers with the scheduler's status.
        *error = IsPrinterUri(name) ? ENOENT : static_cast<int>(cupsLastError());
        *reason = cupsLastErrorString();
    }
    return CupsDestPtr(dest);
}

std::unique_ptr<CupsDestination> CupsDestination::Connect(const std::string& name, CupsDestPtr dest,
                                                          int* error, std::string* reason) {
    const bool uri = IsPrinterUri(name);
    // A queue is asked through its scheduler, which must be addressed by the very name the
    // client library uses, or the library takes the queue's device for the printer; a URI
    // is asked directly.
    http_t* http = uri ? cupsConnectDest(dest.get(), CUPS_DEST_FLAGS_DEVICE, 30000, nullptr,
                                         nullptr, 0, nullptr, nullptr)
                       : httpConnect2(cupsServer(), ippPort(), nullptr, AF_UNSPEC, cupsEncryption(),
                                      1, 30000, nullptr);
    if (http == nullptr) {
        *error = errno != 0 ? errno : ECONNREFUSED;
        *reason = cupsLastErrorString();
        return nullptr;
    }
    cups_dinfo_t* info = cupsCopyDestInfo(http, dest.get());
    if (info == nullptr) {
        *error = EIO;
        *reason = cupsLastErrorString();
        httpClose(http);
        return nullptr;
    }
    return std::make_unique<CupsDestination>(Key{}, name, !uri, dest.release(), http, info);
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
