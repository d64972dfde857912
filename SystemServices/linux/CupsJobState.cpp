// Asking the printer about a job after its document went out: a scheduler can take the bytes
// into its socket and then never answer, and a job left "incoming" prints nothing.
#include "SystemServices/linux/CupsJobState.h"

#include <fmt/format.h>

#include <cstring>
#include <memory>

namespace nvrprint::platform {
namespace {

constexpr double kAnswerTimeLimitSeconds = 15.0;

struct HttpClose {
    void operator()(http_t* http) const { httpClose(http); }
};

// The printer's URI and the resource to post requests to.
bool PrinterUriAndResource(const CupsDestination& destination, std::string* uri,
                           std::string* resource) {
    const cups_dest_t* dest = destination.Dest();
    const char* value = cupsGetOption("printer-uri-supported", dest->num_options, dest->options);
    if (value == nullptr || *value == '\0') {
        value = cupsGetOption("device-uri", dest->num_options, dest->options);
    }
    if ((value == nullptr || *value == '\0') && IsPrinterUri(destination.Name())) {
        value = destination.Name().c_str();
    }
    if (value == nullptr || *value == '\0') {
        return false;
    }
    char scheme[32], user[256], host[256], path[1024];
    int port = 0;
    if (httpSeparateURI(HTTP_URI_CODING_ALL, value, scheme, sizeof scheme, user, sizeof user, host,
                        sizeof host, &port, path, sizeof path) < HTTP_URI_STATUS_OK) {
        return false;
    }
    *uri = value;
    *resource = path;
    return true;
}

}  // namespace

http_t* ConnectWithTimeLimit(const CupsDestination& destination, double timeoutSeconds) {
    http_t* http = cupsConnectDest(
        destination.Dest(), destination.IsQueue() ? CUPS_DEST_FLAGS_NONE : CUPS_DEST_FLAGS_DEVICE,
        5000, nullptr, nullptr, 0, nullptr, nullptr);
    if (http != nullptr) {
        httpSetTimeout(http, timeoutSeconds, nullptr, nullptr);
    }
    return http;
}

Result<IppResponse> GetJobAttributes(http_t* http, const CupsDestination& destination, int jobId,
                                     std::initializer_list<const char*> wanted) {
    std::string uri;
    std::string resource;
    if (!PrinterUriAndResource(destination, &uri, &resource)) {
        return Failure{EDESTADDRREQ, "the printer's address is unknown"};
    }
    ipp_t* request = ippNewRequest(IPP_OP_GET_JOB_ATTRIBUTES);
    ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_URI, "printer-uri", nullptr, uri.c_str());
    ippAddInteger(request, IPP_TAG_OPERATION, IPP_TAG_INTEGER, "job-id", jobId);
    ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_NAME, "requesting-user-name", nullptr,
                 cupsUser());
    ippAddStrings(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes",
                  static_cast<int>(wanted.size()), nullptr, wanted.begin());
    IppResponse response(cupsDoRequest(http, request, resource.c_str()));
    if (!response || cupsLastError() > IPP_STATUS_OK_CONFLICTING) {
        return Failure{static_cast<int>(cupsLastError()), cupsLastErrorString()};
    }
    return response;
}

Status ConfirmJobHasItsDocument(const CupsDestination& destination, int jobId) {
    const auto fail = [](std::string why) {
        const int code = static_cast<int>(cupsLastError());
        return Failure{code != 0 ? code : EIO, std::move(why)};
    };
    std::unique_ptr<http_t, HttpClose> http(
        ConnectWithTimeLimit(destination, kAnswerTimeLimitSeconds));
    if (!http) {
        return fail(fmt::format("the printer cannot be reached: {}", cupsLastErrorString()));
    }
    Result<IppResponse> response =
        GetJobAttributes(http.get(), destination, jobId, {"job-state", "job-state-reasons"});
    if (!response) {
        return fail(fmt::format("the printer did not confirm the job: {}", response.error().text));
    }
    ipp_attribute_t* state = ippFindAttribute(response->get(), "job-state", IPP_TAG_ENUM);
    const int value = state != nullptr ? ippGetInteger(state, 0) : 0;
    if (value == IPP_JSTATE_CANCELED || value == IPP_JSTATE_ABORTED) {
        return fail(
            fmt::format("the printer ended the job ({})", ippEnumString("job-state", value)));
    }
    if (ipp_attribute_t* reasons =
            ippFindAttribute(response->get(), "job-state-reasons", IPP_TAG_KEYWORD)) {
        for (int i = 0; i < ippGetCount(reasons); ++i) {
            if (std::strcmp(ippGetString(reasons, i, nullptr), "job-incoming") == 0) {
                return fail("the printer still waits for the job's document");
            }
        }
    }
    return {};
}

}  // namespace nvrprint::platform
