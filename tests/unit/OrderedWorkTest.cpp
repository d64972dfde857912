// Work made on several threads and used in order: the order, the bound on work ahead, and the
// stop on failure.
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <optional>
#include <set>
#include <vector>

#include "platform/OrderedWork.h"

using nvrprint::platform::RunInOrder;

TEST(OrderedWork, ItemsAreUsedInOrderNeverTooFarAheadAndAStopEndsTheWork) {
    struct Case {
        size_t count;
        unsigned workers;
        size_t ahead;
        std::optional<size_t> unmade;   // make fails for this index
        std::optional<size_t> refused;  // use answers false here
    };
    const Case cases[] = {
        {0, 2, 4, {}, {}},   {1, 2, 4, {}, {}}, {200, 1, 1, {}, {}}, {200, 2, 4, {}, {}},
        {200, 8, 3, {}, {}}, {50, 2, 4, 7, {}}, {50, 3, 6, {}, 11},  {50, 2, 4, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.count << " items, " << c.workers << " workers");
        std::mutex lock;
        std::set<size_t> made;
        std::atomic<size_t> lastUsed{0};
        size_t mostAhead = 0;
        std::vector<size_t> used;
        std::vector<size_t> unmadeSeen;
        const bool ok = RunInOrder<size_t>(
            c.count, c.workers, c.ahead,
            [&](unsigned worker, size_t index) -> std::optional<size_t> {
                EXPECT_LT(worker, c.workers);
                std::lock_guard guard(lock);
                made.insert(index);
                mostAhead = std::max(mostAhead, index - std::min(index, lastUsed.load()));
                if (c.unmade == index) {
                    return std::nullopt;
                }
                return index * 10;
            },
            [&](size_t index, std::optional<size_t>&& item) {
                lastUsed = index;
                used.push_back(index);
                if (!item) {
                    unmadeSeen.push_back(index);
                } else {
                    EXPECT_EQ(*item, index * 10);
                }
                return c.refused != index;
            });

        const size_t end = c.refused ? *c.refused + 1 : c.count;
        EXPECT_EQ(ok, !c.refused.has_value());
        ASSERT_EQ(used.size(), end);
        for (size_t i = 0; i < used.size(); ++i) {
            EXPECT_EQ(used[i], i);
        }
        if (c.unmade && *c.unmade < end) {
            EXPECT_EQ(unmadeSeen, std::vector<size_t>{*c.unmade});
        }
        // Nothing is made further ahead of the item in use than allowed, and a stop starts
        // nothing beyond what was already allowed.
        EXPECT_LE(mostAhead, std::max<size_t>(c.ahead, c.workers));
        if (!made.empty()) {
            EXPECT_LT(*made.rbegin(), end + std::max<size_t>(c.ahead, c.workers));
        }
    }
}
