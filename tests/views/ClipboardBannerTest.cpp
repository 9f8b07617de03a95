#include "app/views/ClipboardBanner.h"

#include "model/ModelWorld.h"

#include <QApplication>
#include <QPushButton>
#include <QVBoxLayout>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;

class ClipboardBannerTest : public test::ModelWorld {};

// Where nothing moves, the stories see it come and go.
TEST_F(ClipboardBannerTest, TurnsBackOnItsWay) {
    QApplication::setEffectEnabled(Qt::UI_General, true);
    QWidget window;
    auto* rows = new QVBoxLayout(&window);
    auto* banner = new ClipboardBanner(model(), &window);
    rows->addWidget(banner);
    rows->addStretch(1);
    window.show();
    const auto offer = [this](const QList<QUrl>& links) { model().clipboard().setLinks(links); };
    offer({QUrl(u"http://a.example/1"_s)});
    offer({});
    offer({QUrl(u"http://a.example/2"_s)});
    EXPECT_TRUE(runUntil([&] {
        const auto* content = banner->findChild<QWidget*>();
        return banner->isVisible() && banner->height() == content->height() && content->y() == 0;
    })) << "all of it, with its lower edge at the place of its own";
    EXPECT_TRUE(banner->findChild<QPushButton*>()->isEnabled());
    offer({});
    EXPECT_TRUE(runUntil([&] { return !banner->isVisible(); }));
}

} // namespace
} // namespace fetra
