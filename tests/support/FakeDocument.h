#pragma once

#include <atomic>
#include <future>
#include <string>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/DocFilePageMgr.h"

namespace testsupport {

// A document backend for driving the manager's own logic: pages of given sizes, and a load
// that can fail or be held until the test releases it.
class FakeDocument final : public docmgr::DocFilePageMgr {
public:
    struct PageSize {
        double width;
        double height;
    };

    explicit FakeDocument(std::vector<PageSize> pages = {{612, 792}}) : m_pages(std::move(pages)) {}
    ~FakeDocument() override {
        Release();
        JoinLoadThread();
    }

    // The load waits in OnLoadDocument until Release is called.
    void HoldLoad() { m_hold = true; }
    void Release() {
        if (m_hold && !m_released.exchange(true))
            m_gate.set_value();
    }

    // Placements refused by the backend itself, before the device sees them.
    void FailPlacements() { m_failPlacements = true; }

    std::string loadedPath;

protected:
    bool OnLoadDocument(const std::string& path) override {
        loadedPath = path;
        if (m_hold)
            m_opened.wait();
        return !m_pages.empty();
    }
    uint64_t OnGetPageCount() override { return m_pages.size(); }
    docmgr::BitmapPtr OnRenderPageBitmap(size_t index,
                                         const docmgr::TargetParams& params) override {
        const PageSize& size = m_pages.at(index);
        return docmgr::Bitmap::Create(
            docmgr::PixelsForPoints(size.width, params.scale, params.dpiX),
            docmgr::PixelsForPoints(size.height, params.scale, params.dpiY));
    }
    bool OnPlacePage(docmgr::PrintDevice* device, size_t index,
                     const docmgr::PageCell& cell) override {
        return !m_failPlacements && device->PlacePage(docmgr::VectorPage{loadedPath, index}, cell);
    }
    bool OnGetPageSizePoints(size_t index, double* width, double* height) override {
        if (index >= m_pages.size())
            return false;
        *width = m_pages[index].width;
        *height = m_pages[index].height;
        return true;
    }

private:
    std::vector<PageSize> m_pages;
    bool m_hold = false;
    std::atomic<bool> m_released{false};
    std::promise<void> m_gate;
    std::shared_future<void> m_opened = m_gate.get_future().share();
    bool m_failPlacements = false;
};

}  // namespace testsupport
