#include "NvrPrintHelper/preview/PictureWorker.h"

#include <algorithm>
#include <iterator>

#include "platform/MainLoopTask.h"

namespace nvrprint::preview {

PictureWorker::PictureWorker() : m_thread([this] { Run(); }) {}

PictureWorker::~PictureWorker() {
    {
        std::lock_guard lock(m_lock);
        m_stopping = true;
        for (std::optional<Job>& waiting : m_waiting) {
            waiting.reset();
        }
    }
    m_wake.notify_one();
    m_thread.join();
    std::lock_guard lock(m_finished->lock);
    m_finished->pictures.clear();
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
    m_wake.wait(lock, [this] {
        return m_stopping ||
               std::any_of(std::begin(m_waiting), std::end(m_waiting),
                           [](const std::optional<Job>& waiting) { return waiting.has_value(); });
    });
    for (std::optional<Job>& waiting : m_waiting) {
        if (!m_stopping && waiting) {
            std::optional<Job> job = std::move(waiting);
            waiting.reset();
            return job;
        }
    }
    return std::nullopt;
}

void PictureWorker::Run() {
    while (std::optional<Job> job = TakeNext()) {
        Picture picture = job->draw();
        {
            std::lock_guard lock(m_finished->lock);
            m_finished->pictures.emplace_back(std::move(job->ready), std::move(picture));
        }
        platform::RunOnMainLoop([finished = std::weak_ptr<Finished>(m_finished)] {
            if (std::shared_ptr<Finished> alive = finished.lock()) {
                alive->Deliver();
            }
        });
    }
}

void PictureWorker::Finished::Deliver() {
    for (;;) {
        std::pair<PictureReady, Picture> next;
        {
            std::lock_guard hold(lock);
            if (pictures.empty()) {
                return;
            }
            next = std::move(pictures.front());
            pictures.pop_front();
        }
        next.first(std::move(next.second));
    }
}

}  // namespace nvrprint::preview
