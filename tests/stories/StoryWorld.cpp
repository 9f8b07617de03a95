#include "stories/StoryWorld.h"

#include "app/Application.h"
#include "http/CurlClient.h"
#include "manager/TransferRunner.h"
#include "support/Routes.h"
#include "system/Random.h"
#include "system/Ticker.h"

#include <QCheckBox>
#include <QClipboard>
#include <QDragEnterEvent>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QTextEdit>
#include <QTimer>
#include <QTreeView>
#include <QWindow>

namespace fetra::test {

using namespace Qt::StringLiterals;

/// As `main` has it.
struct StoryWorld::Running {
    CurlClient http;
    SystemClock clock;
    SystemRandom random;
    Ticker ticker;
    EngineRunners runners{{http, clock, random, ticker}};
    Application application{
        {.manager = {.storeURL = DownloadManager::defaultStoreURL(), .inboxes = DownloadManager::inboxURLs()},
         .appBundle = QUrl::fromLocalFile(QDir::cleanPath(QStringLiteral(FETRA_BIN_DIR "/../lib/fetra")))},
        runners,
        clock};
};

StoryWorld::StoryWorld() = default;
StoryWorld::~StoryWorld() = default;

void StoryWorld::SetUp() {
    environment_.emplace_back("HOME", home.path().toUtf8());
    environment_.emplace_back("XDG_DATA_HOME", home.path(u"data"_s).toUtf8());
    environment_.emplace_back("XDG_CONFIG_HOME", home.path(u"config"_s).toUtf8());
    environment_.emplace_back("XDG_CACHE_HOME", home.path(u"cache"_s).toUtf8());
    home.write(u"Downloads/.keep"_s, {});
    QGuiApplication::clipboard()->clear();
    start();
}

void StoryWorld::TearDown() {
    running_.reset();
}

// Beginning and end

void StoryWorld::start() {
    running_ = std::make_unique<Running>();
    running_->application.launch();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&mainWindow()));
}

bool StoryWorld::ends(const std::function<void()>& act) {
    constexpr int tooLate = -1;
    QTimer deadline;
    QObject::connect(&deadline, &QTimer::timeout, &deadline, [] { QCoreApplication::exit(tooLate); });
    deadline.start(std::chrono::seconds(10));
    QTimer::singleShot(0, &deadline, act);
    const int status = QApplication::exec();
    running_.reset();
    return status == 0;
}

// What the user does

QWindow* StoryWorld::windowInFront() {
    const auto current = [] {
        QWindow* const window = QGuiApplication::focusWindow();
        return window && window->isVisible() ? window : nullptr;
    };
    // There is no window manager here that would turn to the window that is left.
    const bool isThere = runUntil([&] {
        if (!current())
            for (QWindow* const window : QGuiApplication::topLevelWindows())
                if (window->isVisible())
                    window->requestActivate();
        return current() != nullptr;
    });
    if (!isThere)
        throw std::runtime_error("nothing takes keys");
    return current();
}

void StoryWorld::press(const char* keys) const {
    QTest::keySequence(windowInFront(), QKeySequence(QLatin1StringView(keys), QKeySequence::PortableText));
}

void StoryWorld::type(const QString& text) const {
    for (const QChar letter : text)
        QTest::keyClick(windowInFront(), letter.toLatin1());
}

void StoryWorld::paste(const QString& text) const {
    QGuiApplication::clipboard()->setText(text);
    press("Ctrl+V");
}

void StoryWorld::click(QWidget& widget) const {
    // Beside its text a box takes no clicks.
    const QPoint middle = widget.rect().center();
    click(widget, qobject_cast<QCheckBox*>(&widget) ? QPoint(8, middle.y()) : middle);
}

void StoryWorld::click(QWidget& widget, const QPoint& where, Qt::MouseButton button,
                       Qt::KeyboardModifiers modifiers) const {
    QWidget* const window = widget.window();
    const bool isWithinReach = runUntil([&] {
        const QWidget* const hit = window->childAt(widget.mapTo(window, where));
        return hit ? hit == &widget || widget.isAncestorOf(hit) : window == &widget;
    });
    if (!isWithinReach)
        throw std::runtime_error("covered: " + textOf(widget).toStdString());
    QTest::mouseClick(window->windowHandle(), button, modifiers, widget.mapTo(window, where));
}

void StoryWorld::clickRow(const QString& name, Qt::KeyboardModifiers modifiers) const {
    click(*table().viewport(), table().visualRect(indexOf(name)).center(), Qt::LeftButton, modifiers);
}

void StoryWorld::choose(const QString& name, const QString& choice) const {
    click(*table().viewport(), table().visualRect(indexOf(name)).center(), Qt::RightButton);
    auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    if (!menu)
        throw std::runtime_error("there is no menu");
    for (QAction* const action : menu->actions())
        if (action->text() == choice)
            return click(*menu, menu->actionGeometry(action).center());
    throw std::runtime_error("there is no choice " + choice.toStdString());
}

void StoryWorld::drag(QWidget& widget, const QPoint& from, const QPoint& to) const {
    QWidget* const window = widget.window();
    QWindow* const handle = window->windowHandle();
    // What is dragged may move with the mouse.
    const QPoint begin = widget.mapTo(window, from);
    const QPoint end = widget.mapTo(window, to);
    QTest::mouseMove(handle, begin);
    QTest::mousePress(handle, Qt::LeftButton, {}, begin);
    QTest::mouseMove(handle, end);
    QTest::mouseRelease(handle, Qt::LeftButton, {}, end);
}

bool StoryWorld::drop(const QMimeData& data) const {
    QWindow& handle = *mainWindow().windowHandle();
    const QPoint where = mainWindow().rect().center();
    QDragEnterEvent enter(where, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&handle, &enter);
    QDragMoveEvent move(where, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    move.setAccepted(enter.isAccepted());
    QApplication::sendEvent(&handle, &move);
    if (!move.isAccepted())
        return false;
    QDropEvent end(where, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&handle, &end);
    return end.isAccepted();
}

void StoryWorld::grab(const QString& text) const {
    press("Ctrl+N");
    paste(text);
}

void StoryWorld::download(const QUrl& url) const {
    grab(url.toString());
    press("Ctrl+Return");
}

// What the user sees

QWidgetList StoryWorld::shownWindows() {
    QWidgetList windows = QApplication::topLevelWidgets();
    windows.removeIf([](const QWidget* window) { return !window->isVisible(); });
    // A dialog before the window that it belongs to.
    std::ranges::stable_partition(windows, [](const QWidget* window) { return window->isActiveWindow(); });
    return windows;
}

QString StoryWorld::textOf(const QWidget& widget) {
    const QVariant edited = widget.property("plainText");
    return (edited.isValid() ? edited : widget.property("text")).toString().remove(u'&');
}

bool StoryWorld::shows(const QString& text) {
    for (const QWidget* window : shownWindows())
        for (const QWidget* each : window->findChildren<QWidget*>())
            if (each->isVisible() && textOf(*each) == text)
                return true;
    return false;
}

QWidget* StoryWorld::window(const QString& title) {
    for (QWidget* window : shownWindows())
        if (window->windowTitle() == title)
            return window;
    return nullptr;
}

QWidget& StoryWorld::mainWindow() const {
    for (QWidget* window : QApplication::topLevelWidgets())
        if (qobject_cast<MainWindow*>(window))
            return *window;
    throw std::runtime_error("there is no main window");
}

QObject& StoryWorld::application() const {
    return running_->application;
}

QTreeView& StoryWorld::table() const {
    return *mainWindow().findChild<QTreeView*>();
}

QModelIndex StoryWorld::indexOf(const QString& name) const {
    const QAbstractItemModel& model = *table().model();
    for (int row = 0; row < model.rowCount(); ++row)
        if (model.index(row, 0).data() == name)
            return model.index(row, 0);
    throw std::runtime_error("there is no row " + name.toStdString());
}

QString StoryWorld::cell(const QString& name, DownloadColumn column) const {
    return indexOf(name).siblingAtColumn(static_cast<int>(column)).data().toString();
}

QString StoryWorld::rows() const {
    QStringList texts;
    for (int row = 0; row < table().model()->rowCount(); ++row) {
        const QModelIndex name = table().model()->index(row, 0);
        texts.append(name.data().toString() + u' ' +
                     name.siblingAtColumn(static_cast<int>(DownloadColumn::status)).data().toString());
    }
    return texts.join(u", "_s);
}

QString StoryWorld::selected() const {
    QStringList names;
    for (const QModelIndex& index : table().selectionModel()->selectedRows())
        names.append(index.data().toString());
    names.sort();
    return names.join(u' ');
}

bool StoryWorld::isUnderWay(const QString& name) const {
    return runUntil([&] {
        return cell(name, DownloadColumn::status) == u"Downloading"_s &&
               !cell(name, DownloadColumn::speed).startsWith(u'0');
    });
}

// The world around

ServerFile StoryWorld::serve(const QByteArray& path, qint64 size, const Lies& lies) {
    const ServerFile file = ServerFile::ofSize(size);
    files_[path] = test::serve(file, lies);
    server.setHandler(routes(files_));
    return file;
}

std::unique_ptr<MockService> StoryWorld::fileManager() const {
    auto manager = std::make_unique<MockService>(StorySession::bus(), MockService::fileManager);
    manager->addMethod(u"ShowItems"_s, u"ass"_s, {}, {});
    return manager;
}

std::unique_ptr<MockService> StoryWorld::trayHost() const {
    auto watcher = std::make_unique<MockService>(StorySession::bus(), MockService::trayWatcher);
    watcher->setProperty(u"IsStatusNotifierHostRegistered"_s, true);
    watcher->emitSignal(u"StatusNotifierHostRegistered"_s, {});
    return watcher;
}

QStringList StoryWorld::revealed(MockService& manager) const {
    QStringList uris;
    for (const QVariantList& call : manager.calls(u"ShowItems"_s))
        uris += call.at(0).toStringList();
    return uris;
}

} // namespace fetra::test
