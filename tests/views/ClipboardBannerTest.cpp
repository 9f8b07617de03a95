#include "app/views/ClipboardBanner.h"

#include "model/ModelWorld.h"

#include <QApplication>
#include <QPushButton>
#include <QVBoxLayout>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;

/// The argument says whether the desktop moves things.
class ClipboardBannerTest : public test::ModelWorld, public ::testing::WithParamInterface<bool> {
protected:
    void SetUp() override {
        ModelWorld::SetUp();
        QApplication::setEffectEnabled(Qt::UI_General, GetParam());
        auto* rows = new QVBoxLayout(&window);
        banner = new ClipboardBanner(model(), &window);
        rows->addWidget(banner);
        rows->addStretch(1);
        window.resize(600, 300);
        window.show();
    }
    void TearDown() override { QApplication::setEffectEnabled(Qt::UI_General, false); }

    void offer(const QStringList& links) { model().clipboard().setLinks(QUrl::fromStringList(links)); }
    /// All of it, with its lower edge at the place of its own.
    [[nodiscard]] bool comes() {
        return runUntil([&] {
            const auto* content = banner->findChild<QWidget*>();
            return banner->isVisible() && banner->height() == content->height() && content->y() == 0;
        });
    }
    [[nodiscard]] bool goes() {
        return runUntil([&] { return !banner->isVisible(); });
    }

    QWidget window;
    ClipboardBanner* banner = nullptr;
};

TEST_P(ClipboardBannerTest, TurnsBackOnTheWay) {
    offer({u"http://a.example/1"_s});
    offer({});
    offer({u"http://a.example/2"_s});
    EXPECT_TRUE(comes());
    EXPECT_TRUE(banner->findChild<QPushButton*>()->isEnabled());
    offer({});
    EXPECT_TRUE(goes());
}

INSTANTIATE_TEST_SUITE_P(, ClipboardBannerTest, ::testing::Bool(),
                         [](const auto& each) { return each.param ? "WithMotion" : "WithoutMotion"; });

} // namespace
} // namespace fetra
