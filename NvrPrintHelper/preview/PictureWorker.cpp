#include "NvrPrintHelper/preview/PictureWorker.h"

#include "platform/MainLoopTask.h"

namespace nvrprint::preview {

PictureWorker::PictureWorker() : m_thread([this] { Run(); }) {}

PictureWorker::~PictureWorker() {
    {
        std::lock_guard lock(m_lock);
        m_stopping = true;
        m_waiting[0].reset();
        m_waiting[1].reset();
    }
    m_wake.notify_one();
    m_thread.join();
}

void PictureWorker::Draw(Lane lane, DrawPicture draw, PictureReady ready) {
    {
        std::lock_guard lock(m_lock);
        m_waiting[static_cast<int>(lane)] = Job{std::move(draw), std::move(ready)};
    }
    m_wake.notify_one();
}

std::optional<PictureWorker::Job> PictureWorker::TakeNext() {
    std::unique_lock lock(m_lock);
    m_wake.wait(lock, [this] { return m_stopping || m_waiting[0] || m_waiting[1]; });
    if (m_stopping) {
        return std::nullopt;
    }
    std::optional<Job>& next = m_waiting[0] ? m_waiting[0] : m_waiting[1];
    std::optional<Job> job = std::move(next);
    next.reset();
    return job;
}

void PictureWorker::Run() {
    while (std::optional<Job> job = TakeNext()) {
        Picture picture = job->draw();
        platform::RunOnMainLoop([alive = std::weak_ptr<int>(m_alive), ready = std::move(job->ready),
                                 picture = std::move(picture)]() mutable {
            if (!alive.expired()) {
                ready(std::move(picture));
            }
        });
    }
}

}  // namespace nvrprint::preview
