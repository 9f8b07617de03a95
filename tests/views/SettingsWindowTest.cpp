#include "app/views/SettingsWindow.h"

#include "model/ModelWorld.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTabBar>
#include <QTest>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

class SettingsWindowTest : public test::ModelWorld {
protected:
    void SetUp() override {
        ModelWorld::SetUp();
        window = std::make_unique<SettingsWindow>(model(), QUrl(u"file:///opt/Fetra.app"_s));
        window->show();
        QApplication::setActiveWindow(window.get());
    }
    void TearDown() override { window.reset(); }

    template <typename Control>
    [[nodiscard]] Control& named(const QString& text) {
        for (auto* control : window->findChildren<Control*>())
            if (control->property("text").toString() == text || control->accessibleName() == text)
                return *control;
        throw std::runtime_error("no such control: " + text.toStdString());
    }
    [[nodiscard]] bool isOn(const char* key) { return model().settings().isOn(key); }

    std::unique_ptr<SettingsWindow> window;
};

TEST_F(SettingsWindowTest, TakesAnUploadLimitWhenItIsEnteredAndKeepsItInRange) {
    auto& field = named<QLineEdit>(u"Torrent upload limit in KB/s"_s);
    struct Case {
        QString typed;
        qint64 stored;
    };
    for (const Case& each : {Case{u"-5"_s, 0}, Case{u"250000"_s, 100'000}, Case{u"64"_s, 64}, Case{u""_s, 64},
                             Case{u"-"_s, 64}, Case{u"x9"_s, 9}}) {
        const qint64 before = manager().torrentUploadLimitKB();
        field.setFocus();
        field.selectAll();
        QTest::keyClick(&field, Qt::Key_Delete);
        QTest::keyClicks(&field, each.typed);
        EXPECT_EQ(manager().torrentUploadLimitKB(), before) << "not while it is typed";
        QTest::keyClick(&field, Qt::Key_Return);
        EXPECT_EQ(manager().torrentUploadLimitKB(), each.stored) << each.typed.toStdString();
        EXPECT_EQ(field.text(), QString::number(each.stored));
    }
    field.selectAll();
    QTest::keyClicks(&field, u"70"_s);
    manager().setAutoStart(!manager().autoStart());
    EXPECT_EQ(field.text(), u"70"_s) << "another change has taken what was typed";
    QTest::keyClick(&field, Qt::Key_Tab);
    EXPECT_EQ(manager().torrentUploadLimitKB(), 70);
    field.selectAll();
    QTest::keyClicks(&field, u"80"_s);
    window->close();
    EXPECT_EQ(manager().torrentUploadLimitKB(), 80);
}

TEST_F(SettingsWindowTest, StopsTheSteppersAtTheirEnds) {
    auto& simultaneous = named<QSpinBox>(u"Simultaneous downloads"_s);
    auto& connections = named<QSpinBox>(u"Connections per download"_s);
    for (int step = 0; step < 70; ++step) {
        QTest::keyClick(&simultaneous, Qt::Key_Up);
        QTest::keyClick(&connections, Qt::Key_Up);
    }
    EXPECT_EQ(manager().maxConcurrentDownloads(), 10);
    EXPECT_EQ(manager().connectionsPerDownload(), 64);
    for (int step = 0; step < 70; ++step) {
        QTest::keyClick(&simultaneous, Qt::Key_Down);
        QTest::keyClick(&connections, Qt::Key_Down);
    }
    EXPECT_EQ(manager().maxConcurrentDownloads(), 1);
    EXPECT_EQ(manager().connectionsPerDownload(), 1);
}

TEST_F(SettingsWindowTest, SwitchesLandWhereTheyTakeEffect) {
    struct Case {
        QString title;
        std::function<bool()> isOn;
        bool before;
    };
    const Case cases[] = {
        {u"Notify when downloads finish"_s, [&] { return isOn(AppSettings::notifyOnFinish); }, true},
        {u"Show in system tray"_s, [&] { return isOn(AppSettings::showMenuBar); }, true},
        {u"Watch clipboard for links"_s, [&] { return isOn(AppSettings::watchClipboard); }, false},
        {u"Start queued downloads on launch"_s, [&] { return manager().autoStart(); }, true},
        {u"Keep seeding after download"_s, [&] { return manager().torrentSeedAfterComplete(); }, false},
    };
    for (const Case& each : cases) {
        auto& box = named<QCheckBox>(each.title);
        EXPECT_EQ(box.isChecked(), each.before) << each.title.toStdString();
        QTest::mouseClick(&box, Qt::LeftButton, Qt::NoModifier, {8, box.height() / 2});
        EXPECT_EQ(each.isOn(), !each.before) << each.title.toStdString();
        EXPECT_EQ(box.isChecked(), !each.before);
    }
}

TEST_F(SettingsWindowTest, ShowsWhatIsChangedElsewhere) {
    auto& box = named<QCheckBox>(u"Watch clipboard for links"_s);
    model().settings().set(AppSettings::watchClipboard, true);
    EXPECT_TRUE(box.isChecked());
    manager().setConnectionsPerDownload(5);
    EXPECT_EQ(named<QSpinBox>(u"Connections per download"_s).value(), 5);
    QTest::mouseClick(&named<QPushButton>(u"Choose download folder"_s), Qt::LeftButton);
    fake.panels.choose({QUrl(u"file:///srv/files"_s)});
    EXPECT_TRUE(named<QLabel>(u"/srv/files"_s).isVisible());

    // More than its stepper can say is shown, and left alone.
    manager().setMaxConcurrentDownloads(40);
    EXPECT_EQ(named<QSpinBox>(u"Simultaneous downloads"_s).value(), 10);
    EXPECT_EQ(manager().maxConcurrentDownloads(), 40);

    window->hide();
    model().settings().set(AppSettings::watchClipboard, false);
    window->show();
    EXPECT_FALSE(box.isChecked());
}

TEST_F(SettingsWindowTest, LetsThePathOfTheCommandLineBeCopied) {
    QTest::keyClick(window->findChild<QTabBar*>(), Qt::Key_Right);
    auto& path = named<QLabel>(u"/opt/Fetra.app/Contents/Helpers/fetra"_s);
    EXPECT_TRUE(path.isVisible());
    path.setFocus();
    QTest::keySequence(&path, QKeySequence::SelectAll);
    EXPECT_EQ(path.selectedText(), path.text());
}

} // namespace
} // namespace fetra
