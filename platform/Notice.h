#pragma once

#include <memory>
#include <string>

namespace nvrprint::platform {

class Display;

enum class NoticeKind { Error, Information };

// A notice to the user. Outside any main loop it returns when the user has closed it; from
// within the main loop, or from another thread, it is shown by that loop and returns at once.
class NoticePresenter {
public:
    virtual ~NoticePresenter() = default;
    virtual void Show(const std::string& title, const std::string& text, NoticeKind kind) = 0;
};

// A modal dialog when a display can be opened, else "[title] text" on stderr.
std::unique_ptr<NoticePresenter> CreateSystemNoticePresenter(Display& display);

}  // namespace nvrprint::platform
