#include "app/views/RefreshPace.h"
#include "support/EventLoop.h"

#include <gtest/gtest.h>
#include <QElapsedTimer>
#include <QWidget>

namespace fetra {
namespace {

using test::runUntil;

TEST(RefreshPaceTest, RefreshesSoonSeldomAndOnlyWhileTheWidgetIsVisible) {
    QWidget widget;
    int refreshed = 0;
    RefreshPace& pace = *new RefreshPace(widget, [&] { ++refreshed; });
    pace.request();
    pace.hurry();
    EXPECT_EQ(refreshed, 0) << "hidden";
    widget.show();
    EXPECT_EQ(refreshed, 1) << "what was missed";
    QElapsedTimer since;
    since.start();
    EXPECT_TRUE(runUntil([&] {
        pace.request();
        return refreshed == 3;
    }));
    EXPECT_GE(since.elapsed(), 450) << "two more at four a second, give or take a timer's slack";
}

} // namespace
} // namespace fetra
