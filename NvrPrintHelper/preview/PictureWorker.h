#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "DocFilePageMgr/DocFilePageMgrLib/PageImage.h"

// Draws the preview's pictures on a thread of its own, so that a slow page, or a print that
// holds the document's engine, never holds up the window. Each finished picture comes back
// to the view that asked for it on the main loop.
namespace nvrprint::preview {

using Picture = std::shared_ptr<docmgr::PageImage>;
// Draws a picture on the worker: it holds everything it reads, the window's objects excepted.
using DrawPicture = std::function<Picture()>;
// Hears a finished picture (null when it could not be drawn) on the main thread.
using PictureReady = std::function<void(Picture)>;

// What a picture is for, most urgent first: the page on show, the page after it drawn ahead,
// the strip's next thumbnail.
enum class Lane { Page = 0, Ahead = 1, Thumbnail = 2 };

class PictureWorker {
public:
    PictureWorker();
    // Waits for the picture being drawn; none is delivered after this, and finished ones not
    // yet delivered are let go here.
    ~PictureWorker();
    PictureWorker(const PictureWorker&) = delete;
    PictureWorker& operator=(const PictureWorker&) = delete;

    // Draws the picture once the worker is free, in place of one of the lane still waiting:
    // a view asks for what it needs now, and what it needed before is no longer drawn.
    void Draw(Lane lane, DrawPicture draw, PictureReady ready);

private:
    struct Job {
        DrawPicture draw;
        PictureReady ready;
    };
    // Finished pictures wait here for the main loop, which takes them in order.
    struct Finished {
        std::mutex lock;
        std::deque<std::pair<PictureReady, Picture>> pictures;
        void Deliver();
    };
    void Run();
    std::optional<Job> TakeNext();

    static constexpr int kLanes = 3;
    std::mutex m_lock;
    std::condition_variable m_wake;
    std::optional<Job> m_waiting[kLanes];
    bool m_stopping = false;
    std::shared_ptr<Finished> m_finished = std::make_shared<Finished>();
    std::thread m_thread;
};

}  // namespace nvrprint::preview
