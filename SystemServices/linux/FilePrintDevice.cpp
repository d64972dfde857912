#include "SystemServices/linux/FilePrintDevice.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>

#include "logging/LogMacros.h"

namespace nvrprint::platform {

using namespace docmgr;

namespace {

// Attempts at a free temporary name before giving up.
constexpr int kNameAttempts = 100;

}  // namespace

FilePrintDevice::FilePrintDevice(std::string path, const SheetGeometry& sheet)
    : PdfSheetDevice(sheet), m_path(std::move(path)) {}

FilePrintDevice::~FilePrintDevice() {
    if (!m_temporary.empty()) {
        (void)AbortDoc();
    }
}

Result<int> FilePrintDevice::StartDoc(const std::string& documentName) {
    if (m_writer || m_written) {
        return Fail(EALREADY, fmt::format("A job is already open on {}", m_path));
    }
    const std::filesystem::path target(m_path);
    if (!target.has_filename()) {
        return Fail(EINVAL,
                    fmt::format("Cannot write the job's PDF to '{}': not a file name", m_path));
    }
    // Hidden, in the target's own directory, so that the rename at the end stays on one file
    // system; made like any new file of the user's (0666 less the umask), never an existing one.
    const std::filesystem::path directory =
        target.has_parent_path() ? target.parent_path() : std::filesystem::path(".");
    std::mt19937 random(std::random_device{}());
    int error = EEXIST;
    for (int attempt = 0; attempt < kNameAttempts && error == EEXIST; ++attempt) {
        const std::string candidate =
            (directory / fmt::format(".{}.{:08x}.part", target.filename().string(), random()))
                .string();
        UniqueFd file(
            ::open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0666));
        if (file.IsOpen()) {
            m_file = std::move(file);
            m_temporary = candidate;
            error = 0;
        } else {
            error = errno;
        }
    }
    if (error != 0) {
        return Fail(error, fmt::format("Cannot write the job's PDF to {}: cannot create a file "
                                       "in {}: {}",
                                       m_path, directory.string(), std::strerror(error)));
    }
    m_writer = std::make_unique<PdfSheetWriter>([this](const unsigned char* data, size_t length) {
        const Status written = WriteAll(m_file.Get(), data, length);
        if (!written) {
            m_writeError = written.error().code;
        }
        return written.ok();
    });
    NVR_LOG_DEBUG("Writing the job's PDF of '{}' to {} as {}", documentName, m_path, m_temporary);
    return 1;
}

Failure FilePrintDevice::SinkFailed(const std::string& reason) {
    return Discard(m_writeError != 0 ? m_writeError : EIO,
                   m_writeError != 0 ? std::strerror(m_writeError) : reason);
}

void FilePrintDevice::RemoveTemporary() {
    m_writer.reset();
    m_pageOpen = false;
    m_file.Reset();
    if (!m_temporary.empty()) {
        ::unlink(m_temporary.c_str());
        m_temporary.clear();
    }
}

Failure FilePrintDevice::Discard(int error, const std::string& why) {
    RemoveTemporary();
    return Fail(error, fmt::format("Cannot write the job's PDF to {}: {}", m_path, why));
}

Status FilePrintDevice::EndDoc() {
    if (m_temporary.empty() || m_pageOpen) {
        return Fail(EINVAL, "No job is open, or a sheet is still started");
    }
    if (const Status finished = m_writer->Finish(); !finished) {
        return SinkFailed(finished.error().text);
    }
    // On disk before it takes the target's name: whatever has the name is whole.
    if (::fsync(m_file.Get()) != 0) {
        const int error = errno;
        return Discard(error, std::strerror(error));
    }
    if (const Status closed = m_file.Close(); !closed) {
        return Discard(closed.error().code, closed.error().text);
    }
    if (std::rename(m_temporary.c_str(), m_path.c_str()) != 0) {
        const int error = errno;
        return Discard(error, std::strerror(error));
    }
    m_temporary.clear();
    m_written = true;
    NVR_LOG_DEBUG("Job's PDF written to {} ({} sheets, {} bytes)", m_path, m_writer->SheetCount(),
                  m_writer->BytesWritten());
    return {};
}

Status FilePrintDevice::AbortDoc() {
    if (m_temporary.empty()) {
        return Fail(EINVAL, m_written
                                ? fmt::format("The job's PDF is already written to {}", m_path)
                                : std::string("No job is open"));
    }
    RemoveTemporary();
    NVR_LOG_INFO("Job abandoned: {} left as it was", m_path);
    return {};
}

Status FilePrintDevice::FollowJob(int) {
    // A file is done once written: nothing is left to follow.
    if (!m_written) {
        return Fail(EINVAL, fmt::format("The job's PDF is not written to {}", m_path));
    }
    return {};
}

}  // namespace nvrprint::platform
