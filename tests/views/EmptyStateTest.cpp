#include "app/views/EmptyState.h"

#include "model/ModelWorld.h"

#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

class EmptyStateTest : public test::ModelWorld {
protected:
    /// "-" while there is something to list.
    [[nodiscard]] QString title() {
        const auto content = EmptyState::contentFor(model());
        return content ? content->title : u"-"_s;
    }
};

TEST_F(EmptyStateTest, SaysWhyNothingIsListed) {
    const QString nothingYet = u"No Downloads Yet"_s;
    model().setFilter(DownloadFilter::failed);
    model().setSearch(u"x"_s);
    EXPECT_EQ(title(), nothingYet) << "whatever the list is narrowed to";
    addAt(u"http://host.example/a.zip"_s);
    EXPECT_EQ(title(), u"No Results for “x”"_s);
    model().setSearch(u"  "_s);
    EXPECT_EQ(title(), u"No Results for “Failed”"_s);
    model().setFilter(DownloadFilter::all);
    EXPECT_EQ(title(), u"-"_s);
}

TEST_F(EmptyStateTest, OffersAnActionOnlyWhereThereIsOne) {
    EmptyState view;
    view.setContent(*EmptyState::contentFor(model()));
    view.show();
    auto& button = *view.findChild<QPushButton*>();
    const QSignalSpy triggered(&view, &EmptyState::actionTriggered);
    EXPECT_EQ(button.text(), u"Add Links"_s);
    QTest::mouseClick(&button, Qt::LeftButton);
    EXPECT_EQ(triggered.size(), 1);
    view.setContent({.symbol = {}, .title = u"Other"_s, .text = {}});
    EXPECT_FALSE(button.isVisible());
}

} // namespace
} // namespace fetra
