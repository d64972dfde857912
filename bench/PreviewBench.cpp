// How the preview answers a person: the time from a loaded 350-page document to its first
// page on screen, the longest wait of input while the thumbnail strip fills and while an XPS
// document is printed from the preview, and how many renders scrolling the 300 DPI page costs. The
// real program on a private X server, driven by real input events and timed by its own log.
#include <fmt/format.h>

#include <chrono>
#include <regex>
#include <thread>

#include "tests/gui/PreviewSession.h"
#include "tests/support/PdfFixtures.h"
#include "tests/support/PrinterStack.h"
#include "tests/support/XpsFixtures.h"

using namespace testsupport;

namespace {

constexpr int kPages = 350;

// Milliseconds since midnight of a log line's timestamp ("2026-11-23 21:10:23.123 ...").
std::optional<long> StampOf(const std::string& line) {
    static const std::regex stamp(R"(\d{4}-\d\d-\d\d (\d\d):(\d\d):(\d\d)\.(\d{3}))");
    std::smatch match;
    if (!std::regex_search(line, match, stamp)) {
        return std::nullopt;
    }
    return ((std::stol(match[1]) * 60 + std::stol(match[2])) * 60 + std::stol(match[3])) * 1000 +
           std::stol(match[4]);
}

// Timestamps of every line with the text, in order.
std::vector<long> StampsOf(const std::string& log, const std::string& text) {
    std::vector<long> stamps;
    size_t at = 0;
    while ((at = log.find(text, at)) != std::string::npos) {
        size_t start = log.rfind('\n', at);
        if (auto stamp = StampOf(log.substr(start == std::string::npos ? 0 : start + 1, 30))) {
            stamps.push_back(*stamp);
        }
        at += text.size();
    }
    return stamps;
}

size_t CountOf(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

// Zoom keys, alternately in and out, every 20 ms until the log has the text; how many were
// sent. Each one the window handles is a line of its log.
int SendZoomKeysUntil(PreviewSession& session, const std::string& text) {
    int sent = 0;
    do {
        session.X().Key(sent % 2 == 0 ? "plus" : "minus");
        ++sent;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    } while (session.Log().find(text) == std::string::npos && sent < 5000);
    return sent;
}

// The longest time between two zoom steps the window handled, from the first line with the
// text on, and how many it handled.
std::pair<long, size_t> WorstGapAfter(const std::string& log, const std::string& from) {
    std::vector<long> handled = StampsOf(log, "Zoom in: ");
    std::vector<long> out = StampsOf(log, "Zoom out: ");
    handled.insert(handled.end(), out.begin(), out.end());
    std::sort(handled.begin(), handled.end());
    std::vector<long> start = StampsOf(log, from);
    if (!start.empty()) {
        std::erase_if(handled, [&](long stamp) { return stamp < start.front(); });
    }
    long worstGap = 0;
    for (size_t i = 1; i < handled.size(); ++i) {
        worstGap = std::max(worstGap, handled[i] - handled[i - 1]);
    }
    return {worstGap, handled.size()};
}

// Zoom at 100% and 125% only: both paint straight from the held page.
void PointAtViewAtFullSize(PreviewSession& session) {
    Box view = session.Part("view");
    session.X().MoveTo(session.Window(), view.CentreX(), view.CentreY());
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    session.X().Key("0");
}

// The strip of a long PDF filling, and scrolling the page.
int FillingStrip() {
    PreviewSession session;
    std::string document = session.Work().File("book.pdf");
    MakePdf(document, std::vector<FixturePage>(kPages, kLetter));
    if (!session.Open({"-interactive", document})) {
        fmt::print(stderr, "the preview did not open\n{}", session.Log());
        return 1;
    }
    PointAtViewAtFullSize(session);
    const int sent = SendZoomKeysUntil(session, fmt::format("Loaded {} thumbnails", kPages));
    const std::string log = session.Log();
    const auto [worstGap, handled] = WorstGapAfter(log, "Loading 350 thumbnails");

    std::vector<long> loaded = StampsOf(log, "Successfully loaded document with");
    std::vector<long> painted = StampsOf(log, "Painted page 1 at");
    std::vector<long> stripStart = StampsOf(log, "Loading 350 thumbnails");
    std::vector<long> stripEnd = StampsOf(log, "Loaded 350 thumbnails");

    // Scrolling the page at 100%: wheel notches and arrow keys.
    Box view = session.Part("view");
    session.X().Key("0");
    session.WaitForStatus("Page 1 of 350", "Zoom: 100%");
    size_t rendersBefore = CountOf(session.Log(), "Rendering page");
    for (int i = 0; i < 20; ++i) {
        session.X().Click(session.Window(), view.CentreX(), view.CentreY(), i < 10 ? 5 : 4);
        session.X().Key(i % 2 == 0 ? "Down" : "Right");
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    std::string after = session.Log();
    size_t scrollRenders = CountOf(after, "Rendering page") - rendersBefore;
    size_t scrolls = CountOf(after, "Scrolled by ") + CountOf(after, "Scroll pos=");
    session.CloseAndWait();

    fmt::print("preview of a {}-page document under Xvfb\n", kPages);
    if (!loaded.empty() && !painted.empty()) {
        fmt::print("  first page painted after load   {:>6} ms   (target < 500)\n",
                   painted.front() - loaded.front());
    }
    if (!stripStart.empty() && !stripEnd.empty()) {
        fmt::print("  thumbnail strip filled in       {:>6} ms\n",
                   stripEnd.front() - stripStart.front());
    }
    fmt::print("  input events sent / handled     {:>6} / {}\n", sent, handled);
    fmt::print("  worst gap between handled input {:>6} ms   (sent every 20 ms; target < 50)\n",
               worstGap);
    fmt::print("  renders while scrolling         {:>6}      ({} scroll steps; target 0)\n",
               scrollRenders, scrolls);
    return 0;
}

// A 50-page XPS document printed from the preview, its progress window closed so that the
// preview takes input again while the job is made and sent.
int PrintingXps() {
    constexpr int kXpsPages = 50;
    PrivateStack privateStack("");
    const std::optional<PrinterStack>& stack = privateStack.Stack();
    if (!stack) {
        fmt::print("printing from the preview: no print stack on this machine\n");
        return 0;
    }
    PreviewSession session;
    const std::string document = session.Work().File("fifty.xps");
    MakeXps(document, {std::vector<XpsPageSize>(kXpsPages, kXpsLetter)});
    session.SetEnv("CUPS_SERVER", stack->cupsServer);
    if (!session.Open({"-interactive", document, stack->queue})) {
        fmt::print(stderr, "the preview did not open\n{}", session.Log());
        return 1;
    }
    session.OpenPrintDialog();
    session.PressDialogPrint();
    if (!session.WaitForLog("Starting print operation")) {
        fmt::print(stderr, "the print did not start\n{}", session.Log());
        return 1;
    }
    if (std::optional<unsigned long> progress =
            session.X().WaitForWindow("Printing", std::chrono::seconds(5))) {
        session.X().Close(*progress);
    }
    session.WaitForLog("Re-enabling and focusing parent window", std::chrono::seconds(5));
    PointAtViewAtFullSize(session);
    const int sent = SendZoomKeysUntil(session, "Print operation completed");
    const std::string log = session.Log();
    const auto [worstGap, handled] = WorstGapAfter(log, "Re-enabling and focusing parent window");
    std::vector<long> start = StampsOf(log, "Starting print operation");
    std::vector<long> end = StampsOf(log, "Print operation completed");
    session.CloseAndWait();

    fmt::print("printing a {}-page XPS document from the preview\n", kXpsPages);
    if (!start.empty() && !end.empty()) {
        fmt::print("  print from start to end         {:>6} ms\n", end.front() - start.front());
    }
    fmt::print("  input events sent / handled     {:>6} / {}\n", sent, handled);
    fmt::print("  worst gap between handled input {:>6} ms   (sent every 20 ms; target < 50)\n",
               worstGap);
    return 0;
}

}  // namespace

int main() {
    const int strip = FillingStrip();
    const int print = PrintingXps();
    return strip != 0 ? strip : print;
}
