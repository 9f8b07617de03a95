#pragma once

#include "app/views/DownloadTableRow.h"
#include "desktop/MockService.h"
#include "desktop/PrivateBus.h"
#include "support/Environment.h"
#include "support/EventLoop.h"
#include "support/FileScript.h"
#include "support/ScriptedServer.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <QAbstractButton>
#include <QApplication>
#include <QPointer>
#include <QTest>

#include <functional>
#include <list>
#include <memory>

class QTreeView;

namespace fetra::test {

/// The session bus of the test program, with nobody on it but the application and what a story puts there.
class StorySession final : public ::testing::Environment {
public:
    void SetUp() override {
        bus_ = std::make_unique<PrivateBus>();
        qputenv("DBUS_SESSION_BUS_ADDRESS", bus_->address().toUtf8());
    }
    void TearDown() override { bus_.reset(); }

    [[nodiscard]] static const PrivateBus& bus() { return *bus_; }

private:
    static inline std::unique_ptr<PrivateBus> bus_;
};

/// The whole application as its user has it: the windows, the engine and its files are the real ones, in a
/// home folder of the test's, and what is downloaded lies on a server of the test's. It can end and be
/// started again. Keys go to the window in front, clicks to whatever lies under the mouse.
class StoryWorld : public ::testing::Test {
protected:
    StoryWorld();
    ~StoryWorld() override;
    void SetUp() override;
    void TearDown() override;

    // Beginning and end

    void start();
    /// Whether what the user does makes the application end. It is gone afterwards.
    [[nodiscard]] bool ends(const std::function<void()>& act);

    // What the user does

    /// Keys as in "Ctrl+N".
    void press(const char* keys) const;
    void type(const QString& text) const;
    void paste(const QString& text) const;
    void click(QWidget& widget) const;
    void click(QWidget& widget, const QPoint& where, Qt::MouseButton button = Qt::LeftButton,
               Qt::KeyboardModifiers modifiers = {}) const;
    /// A button or box in a window in front, by its text or its name.
    void click(const QString& button) const { click(control<QAbstractButton>(button)); }
    void clickRow(const QString& name, Qt::KeyboardModifiers modifiers = {}) const;
    /// Chooses from the menu of a row.
    void choose(const QString& name, const QString& choice) const;
    void drag(QWidget& widget, const QPoint& from, const QPoint& to) const;
    /// Drags something over the list and lets go; whether it was taken.
    [[nodiscard]] bool drop(const QMimeData& data) const;
    /// Opens the grabber and pastes into it.
    void grab(const QString& text) const;
    /// Puts a link through the grabber.
    void download(const QUrl& url) const;

    // What the user sees

    /// What is there for the user to use, by its text or its name; throws std::runtime_error without one.
    template <typename Control>
    [[nodiscard]] Control& control(const QString& text) const {
        for (QWidget* window : shownWindows())
            for (auto* each : window->findChildren<Control*>())
                if (each->isVisible() && (textOf(*each) == text || each->accessibleName() == text))
                    return *each;
        throw std::runtime_error("there is no " + text.toStdString());
    }
    [[nodiscard]] static bool shows(const QString& text);
    [[nodiscard]] static QWidget* window(const QString& title);
    [[nodiscard]] QWidget& mainWindow() const;
    [[nodiscard]] QObject& application() const;
    [[nodiscard]] QTreeView& table() const;
    [[nodiscard]] QString cell(const QString& name, DownloadColumn column) const;
    /// "name Status" for each row, from the top, with a comma between.
    [[nodiscard]] QString rows() const;
    [[nodiscard]] QString selected() const;
    [[nodiscard]] bool becomes(const QString& expected) const {
        const bool has = runUntil([&] { return rows() == expected; });
        EXPECT_TRUE(has) << rows().toStdString();
        return has;
    }
    /// Some of the file has arrived, and more is to come.
    [[nodiscard]] bool isUnderWay(const QString& name) const;

    // The world around

    /// A file of the server, told about with these lies.
    ServerFile serve(const QByteArray& path, qint64 size = 300'000, const Lies& lies = {});
    [[nodiscard]] QUrl link(const QByteArray& path) const { return server.url(path); }
    /// So slow that a story can look at a download on its way.
    [[nodiscard]] static Lies slowly() { return {.totalBytesPerSecond = 400'000}; }
    [[nodiscard]] std::unique_ptr<MockService> fileManager() const;
    [[nodiscard]] std::unique_ptr<MockService> trayHost() const;
    [[nodiscard]] QStringList revealed(MockService& manager) const;

    const TempFolder home;
    ScriptedServer server;

private:
    struct Running;

    [[nodiscard]] static QWindow* windowInFront();
    [[nodiscard]] static QWidgetList shownWindows();
    [[nodiscard]] static QString textOf(const QWidget& widget);
    [[nodiscard]] QModelIndex indexOf(const QString& name) const;

    std::list<Environment> environment_;
    std::map<QByteArray, Handler> files_;
    std::unique_ptr<Running> running_;
};

} // namespace fetra::test
