#pragma once

#include <string>
#include <vector>

#include "platform/Notice.h"

namespace testsupport {

// A fresh directory below the test binary's TMPDIR, removed with the object.
class ScratchDir {
public:
    ScratchDir();
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    const std::string& Path() const { return m_path; }
    std::string File(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

// Bytes to read from a file descriptor, as piped input would deliver them; closed with the
// object.
class InputBytes {
public:
    explicit InputBytes(const std::string& bytes);
    ~InputBytes();
    InputBytes(const InputBytes&) = delete;
    InputBytes& operator=(const InputBytes&) = delete;
    int Fd() const { return m_fd; }

private:
    int m_fd = -1;
};

// A pipe whose writing end stays open until the object ends: input that never finishes.
class EndlessInput {
public:
    EndlessInput();
    ~EndlessInput();
    EndlessInput(const EndlessInput&) = delete;
    EndlessInput& operator=(const EndlessInput&) = delete;
    int Fd() const { return m_fds[0]; }
    void Write(const std::string& bytes);

private:
    int m_fds[2] = {-1, -1};
};

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);

// Sends the process-wide logger to a file of its own, at the given level, and reads it back.
class LogCapture {
public:
    explicit LogCapture(int level = 6);
    ~LogCapture();
    std::string Text() const;
    bool Contains(const std::string& text) const { return Text().find(text) != std::string::npos; }
    const std::string& Path() const { return m_path; }

private:
    ScratchDir m_dir;
    std::string m_path;
};

// Notices shown by the program under test, kept instead of shown.
struct RecordedNotice {
    std::string title;
    std::string text;
    nvrprint::platform::NoticeKind kind;
};

class RecordingNotices : public nvrprint::platform::NoticePresenter {
public:
    explicit RecordingNotices(std::vector<RecordedNotice>* sink) : m_sink(sink) {}
    void Show(const std::string& title, const std::string& text,
              nvrprint::platform::NoticeKind kind) override {
        m_sink->push_back({title, text, kind});
    }

private:
    std::vector<RecordedNotice>* m_sink;
};

}  // namespace testsupport
