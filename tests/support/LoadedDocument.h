#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/DocMgrTypes.h"
#include "tests/support/TestSupport.h"

namespace testsupport {

// A document loaded through a manager of the given backend, with the events its load fired.
// Working files go to a scratch directory of its own.
template <typename Manager>
struct LoadedDocument {
    explicit LoadedDocument(const std::string& path) {
        manager.SetScratchDirectory(scratch.Path());
        ok = manager.LoadDocument(
                 path, false,
                 [this](docmgr::DocMgrEventType kind, const docmgr::DocMgrEventData& data) {
                     std::lock_guard guard(lock);
                     kinds.push_back(kind);
                     events.push_back(data);
                 },
                 "") != nullptr &&
             manager.WaitForDocumentLoad(30000);
    }
    // The page sizes the load announced, in points.
    std::vector<std::pair<double, double>> PageSizes() {
        std::vector<std::pair<double, double>> sizes;
        for (const docmgr::DocMgrEventData& data : events) {
            if (const auto* page = std::get_if<docmgr::NewPageAvailableData>(&data)) {
                sizes.emplace_back(page->widthPoints, page->heightPoints);
            }
        }
        return sizes;
    }

    ScratchDir scratch;
    Manager manager;
    std::mutex lock;
    std::vector<docmgr::DocMgrEventType> kinds;
    std::vector<docmgr::DocMgrEventData> events;
    bool ok = false;
};

}  // namespace testsupport
