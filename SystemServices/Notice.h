#pragma once

#include <memory>
#include <string>

namespace nvrprint::platform {

class Display;

enum class NoticeKind { Error, Information };

// A blocking notice to the user: returns when the user has closed it.
class NoticePresenter {
public:
    virtual ~NoticePresenter() = default;
    virtual void Show(const std::string& title, const std::string& text, NoticeKind kind) = 0;
};

// A modal dialog when a display can be opened, else "[title] text" on stderr.
std::unique_ptr<NoticePresenter> CreateSystemNoticePresenter(Display& display);

}  // namespace nvrprint::platform
