#include "app/Application.h"

#include "app/desktop/Handover.h"

#include <QGuiApplication>

namespace fetra {

namespace {

/// `quit` would ask the windows once more whether they may close.
void end() {
    QCoreApplication::exit();
}

} // namespace

Application::Application(const Setup& setup, RunnerFactory& runners, const Clock& clock)
    : pasteboard_(*QGuiApplication::clipboard())
    , manager_(setup.manager, runners)
    , model_(manager_,
             {pasteboard_, preferences_, notifications_, badge_, workspace_, panels_, alerts_, *this, tray_},
             clock)
    , delegate_(setup.appBundle)
    , commands_(model_)
    , window_({.model = model_,
               .commands = commands_,
               .preferences = preferences_,
               .appBundle = setup.appBundle,
               .quit = [this] { quit(); }})
    , extra_(model_, commands_, tray_, [this] { quit(); }) {
    extra_.setParent(this);
    delegate_.setModel(&model_);
    connect(&delegate_, &AppDelegate::terminationReplied, this, [](bool mayTerminate) {
        if (mayTerminate)
            end();
    });
    connect(qGuiApp, &QCoreApplication::aboutToQuit, this, [this] { delegate_.applicationWillTerminate(); });
    connect(&model_, &AppModel::changed, this, [this](AppModel::Field field) {
        if (field == AppModel::Field::isTerminating)
            Q_EMIT acceptingChanged(!model_.isTerminating());
    });
    connect(&tray_, &StatusTray::changed, &extra_, &MenuBarExtra::renew);
    connect(&tray_, &StatusTray::changed, this, &Application::stayReachable);
    connect(&model_.settings(), &AppSettings::changed, this, &Application::stayReachable);
    reachableCheck_.setSingleShot(true);
    connect(&reachableCheck_, &QTimer::timeout, this, [this] {
        if (!extra_.hasIcon() && !window_.isVisible() && !model_.isTerminating())
            openMain();
    });
    window_.setCloseHandler([this] {
        const bool ends = delegate_.applicationShouldTerminateAfterLastWindowClosed() || !extra_.hasIcon();
        if (ends)
            quit();
        return !ends;
    });
}

Application::~Application() {
    delegate_.setModel(nullptr);
}

void Application::launch() {
    delegate_.applicationWillFinishLaunching();
    openMain();
    delegate_.applicationDidFinishLaunching();
}

void Application::open(const Handover& handover) {
    openMain();
    delegate_.application(handover.opened);
}

void Application::quit() {
    if (delegate_.applicationShouldTerminate() == AppDelegate::TerminateReply::now)
        end();
}

void Application::quitUnasked() {
    // Whoever asks twice does not want to wait.
    const bool isAskedAgain = model_.isTerminating();
    if (isAskedAgain || delegate_.terminateUnasked() == AppDelegate::TerminateReply::now)
        end();
}

void Application::openMain() {
    window_.present();
}

void Application::stayReachable() {
    // What draws the icons may only be starting again.
    constexpr std::chrono::seconds patience(5);
    if (extra_.hasIcon() || window_.isVisible() || reachableCheck_.isActive())
        return;
    reachableCheck_.start(patience);
}

} // namespace fetra
