#pragma once

#include <cups/cups.h>

#include <memory>
#include <string>

#include "platform/Result.h"

namespace nvrprint::platform {

struct CupsDestFree {
    void operator()(cups_dest_t* dest) const { cupsFreeDests(1, dest); }
};
using CupsDestPtr = std::unique_ptr<cups_dest_t, CupsDestFree>;

// A CUPS destination with its connection and capabilities, all released together. The name
// is a queue of the scheduler or an ipp:// or ipps:// printer URI.
class CupsDestination {
public:
    // Connects to the destination: a queue is looked up through the connection to its
    // scheduler, a printer URI is asked for its capabilities, since it exists only when it
    // answers. Fails with the scheduler's words when there is none.
    static Result<std::unique_ptr<CupsDestination>> Open(const std::string& name);
    // Reads the capabilities over the open connection, once; everything below needs them.
    Status LoadInfo();
    ~CupsDestination();
    CupsDestination(const CupsDestination&) = delete;
    CupsDestination& operator=(const CupsDestination&) = delete;

    http_t* Http() const { return m_http; }
    cups_dest_t* Dest() const { return m_dest; }
    cups_dinfo_t* Info() const { return m_info; }
    const std::string& Name() const { return m_name; }
    bool IsQueue() const { return m_isQueue; }

    // Keyword value of "<option>-default", or empty.
    std::string DefaultKeyword(const char* option) const;
    int DefaultInteger(const char* option, int fallback) const;
    bool Supports(const char* option, const char* value) const;
    // The media of this name with its margins; false when the printer lacks it.
    bool MediaByName(const std::string& media, cups_size_t* size) const;
    bool DefaultMedia(cups_size_t* size) const;

    struct Key {
        explicit Key() = default;
    };
    CupsDestination(Key, std::string name, bool isQueue, cups_dest_t* dest, http_t* http);

private:
    std::string m_name;
    bool m_isQueue;
    cups_dest_t* m_dest;
    http_t* m_http;
    cups_dinfo_t* m_info = nullptr;
};

bool IsPrinterUri(const std::string& name);

}  // namespace nvrprint::platform
