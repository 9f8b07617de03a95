#include "app/views/SettingsWindow.h"

#include "model/ModelWorld.h"

#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QTest>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

class SettingsWindowTest : public test::ModelWorld {
protected:
    void SetUp() override {
        ModelWorld::SetUp();
        window = std::make_unique<SettingsWindow>(model(), QUrl());
        window->show();
        QApplication::setActiveWindow(window.get());
    }

    template <typename Control>
    [[nodiscard]] Control& named(const QString& text) {
        for (auto* each : window->findChildren<Control*>())
            if (each->property("text") == text || each->accessibleName() == text)
                return *each;
        throw std::runtime_error("no such control: " + text.toStdString());
    }

    std::unique_ptr<SettingsWindow> window;
};

TEST_F(SettingsWindowTest, TakesAnUploadLimitWhenItIsEnteredAndKeepsItInRange) {
    auto& field = named<QLineEdit>(u"Torrent upload limit in KB/s"_s);
    const auto type = [&field](const QString& text) {
        field.setFocus();
        field.selectAll();
        QTest::keyClick(&field, Qt::Key_Delete);
        QTest::keyClicks(&field, text);
    };
    for (const auto& [typed, stored] :
         {std::pair{u"-5"_s, 0}, {u"250000"_s, 100'000}, {u"64"_s, 64}, {u""_s, 64}, {u"x9"_s, 9}}) {
        const qint64 before = manager().torrentUploadLimitKB();
        type(typed);
        EXPECT_EQ(manager().torrentUploadLimitKB(), before) << "not while it is typed";
        QTest::keyClick(&field, Qt::Key_Return);
        EXPECT_EQ(manager().torrentUploadLimitKB(), stored) << typed.toStdString();
        EXPECT_EQ(field.text(), QString::number(stored));
    }
    type(u"70"_s);
    manager().setAutoStart(!manager().autoStart());
    EXPECT_EQ(field.text(), u"70"_s) << "another change has taken what was typed";
    QTest::keyClick(&field, Qt::Key_Tab);
    EXPECT_EQ(manager().torrentUploadLimitKB(), 70);
    type(u"80"_s);
    window->close();
    EXPECT_EQ(manager().torrentUploadLimitKB(), 80);
}

TEST_F(SettingsWindowTest, SwitchesLandWhereTheyTakeEffect) {
    const std::pair<QString, std::function<bool()>> cases[] = {
        {u"Show in system tray"_s, [&] { return model().settings().isOn(AppSettings::showMenuBar); }},
        {u"Start queued downloads on launch"_s, [&] { return manager().autoStart(); }},
        {u"Keep seeding after download"_s, [&] { return manager().torrentSeedAfterComplete(); }},
    };
    for (const auto& [title, isOn] : cases) {
        auto& box = named<QCheckBox>(title);
        const bool before = isOn();
        EXPECT_EQ(box.isChecked(), before) << title.toStdString();
        QTest::mouseClick(&box, Qt::LeftButton, Qt::NoModifier, {8, box.height() / 2});
        EXPECT_EQ(isOn(), !before) << title.toStdString();
    }
}

} // namespace
} // namespace fetra
