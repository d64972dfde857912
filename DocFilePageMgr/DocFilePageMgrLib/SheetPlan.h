#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "DocFilePageMgr/DocFilePageMgrLib/PrintDevice.h"
#include "NvrPrintUtils/PrintJobSettings.h"

// The sheet plan: where the pages of a print fall, from the page count and the program's part
// of the job alone. The print, the sheets view and Print to File all take their sides here.
namespace docmgr {

// One printed side: the 0-based logical pages on it, in drawing order.
struct PhysicalPage {
    std::vector<uint64_t> logicalPages;
};

// How a plan reads the program's share of the job settings.
struct PrintJobSettingsView {
    const nvrprint::PrintJobSettings& settings;
    // Copies below 1 count as 1.
    int Copies() const { return settings.dmCopies > 1 ? settings.dmCopies : 1; }
    // Only 1 means collated.
    bool Collated() const { return settings.dmCollate == 1; }
    // Whether pages are grouped, reordered or repeated, rather than printed one by one.
    bool Transformed() const {
        return settings.PagesPerSheet > 1 || settings.bReversePages || settings.dmCopies > 1;
    }
    // Long or short edge: copies then keep to sheets of their own.
    bool TwoSided() const { return settings.dmDuplex == 2 || settings.dmDuplex == 3; }
};

// How a print places the pages of a side: fitted into the cells of CellsOnSide when the
// program lays out the sheets and the job groups, reorders or repeats pages; at natural size
// from the printable area's corner when it lays them out one by one; each on a sheet of its
// own size when the printer lays them out.
PageCell::Fit SideFitFor(const nvrprint::PrintJobSettings& job, bool programLaysOutSheets);

// Every side of the print in the order it prints: the pages in the program's order, a side's
// worth at a time, repeated for the copies, collated or not; on two-sided paper each copy
// keeps to sheets of its own (a blank back closes a copy that ends on a front side, except
// the last). Pages count from 0.
std::vector<PhysicalPage> PhysicalPageList(const nvrprint::PrintJobSettings& job,
                                           size_t totalPages);

// The sides one copy comes out as: the first copy of the job, with the blank back that closes
// it where a two-sided copy ends on a front side and more copies follow. With a fit other
// than FitCell, every page is a side of its own.
std::vector<PhysicalPage> SidesOfOneCopy(const nvrprint::PrintJobSettings& job, size_t totalPages,
                                         bool programLaysOutSheets);

// The cells of one side of an N-up sheet, one for each of its pages in drawing order: the
// printable area split into the grid for pagesPerSheet, filled across and then down. Device
// pixels from the printable area's top-left corner; the pages are fitted into them.
std::vector<PageCell> CellsOnSide(int32_t pagesPerSheet, int printableWidth, int printableHeight,
                                  size_t pagesOnSide);

}  // namespace docmgr
