#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/PrintDevice.h"
#include "SystemServices/linux/JobFollowing.h"
#include "tests/support/SteppingClock.h"

namespace testsupport {

// A print device that writes down what is done to it, in order, and fails where told.
class RecordingPrintDevice : public docmgr::PrintDevice {
public:
    int printableWidth = 4800;
    int printableHeight = 6300;
    int dpi = 600;
    int startDocResult = 7;  // the job id
    int failStartPage = 0;   // fail the n-th StartPage (from 1); 0 never
    bool failPlacement = false;
    bool failEndDoc = false;
    // The job's states as the printer tells them, one after another; the last one stays.
    // Empty: it cannot tell.
    std::vector<docmgr::PrintJobStatus> statuses;
    // The program's own watch, on a clock that moves only as the device is polled.
    nvrprint::platform::JobWatch watch;
    SteppingClock clock;
    std::vector<std::string> calls;

    int GetDeviceCaps(int index) const override {
        return index == docmgr::HORZRES                                     ? printableWidth
               : index == docmgr::VERTRES                                   ? printableHeight
               : index == docmgr::LOGPIXELSX || index == docmgr::LOGPIXELSY ? dpi
                                                                            : 0;
    }
    nvrprint::Result<int> StartDoc(const std::string& name) override {
        calls.push_back("StartDoc " + name);
        return startDocResult > 0 ? nvrprint::Result<int>(startDocResult) : Refused();
    }
    nvrprint::Status StartPage() override {
        calls.push_back("StartPage");
        return ++m_pages == failStartPage ? Refused() : nvrprint::Status();
    }
    nvrprint::Status StartPageOfSize(double width, double height) override {
        calls.push_back(fmt::format("StartPage {}x{}", width, height));
        return ++m_pages == failStartPage ? Refused() : nvrprint::Status();
    }
    nvrprint::Status EndPage() override {
        calls.push_back("EndPage");
        return {};
    }
    nvrprint::Status EndDoc() override {
        calls.push_back("EndDoc");
        return failEndDoc ? Refused() : nvrprint::Status();
    }
    nvrprint::Status AbortDoc() override {
        calls.push_back("AbortDoc");
        return {};
    }
    // "Place 2 at 0,0" (natural size), "Place 2 in 2400x3200 at 2400,0" (fitted into the
    // cell) or "Place 2 on the whole sheet"; pages count from 1.
    nvrprint::Status PlacePage(const docmgr::VectorPage& page,
                               const docmgr::PageCell& cell) override {
        const size_t number = page.pageIndex + 1;
        switch (cell.fit) {
            case docmgr::PageCell::NaturalSize:
                calls.push_back(fmt::format("Place {} at {},{}", number, cell.x, cell.y));
                break;
            case docmgr::PageCell::FitCell:
                calls.push_back(fmt::format("Place {} in {}x{} at {},{}", number, cell.width,
                                            cell.height, cell.x, cell.y));
                break;
            case docmgr::PageCell::WholeSheet:
                calls.push_back(fmt::format("Place {} on the whole sheet", number));
                break;
        }
        return failPlacement ? Refused() : nvrprint::Status();
    }
    // Followed as the print system's job code follows a job, through the scripted states.
    nvrprint::Status FollowJob(int jobId) override {
        return nvrprint::platform::FollowJob(
            *this, jobId,
            [this]() -> nvrprint::Result<docmgr::PrintJobStatus> {
                if (statuses.empty()) {
                    return Refused();
                }
                return statuses[std::min(m_statusReads++, statuses.size() - 1)];
            },
            watch, clock);
    }

private:
    // What a failing step answers, as the real devices do: an error number and its words.
    static nvrprint::Failure Refused() { return nvrprint::Failure{5, "refused as scripted"}; }

    int m_pages = 0;
    size_t m_statusReads = 0;
};

}  // namespace testsupport
