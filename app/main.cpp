#include "app/Application.h"
#include "app/desktop/Handover.h"
#include "app/desktop/SingleInstance.h"
#include "app/desktop/TerminationSignals.h"
#include "app/desktop/WindowActivation.h"
#include "app/views/AppStyle.h"
#include "http/CurlClient.h"
#include "manager/StateLock.h"
#include "system/Log.h"
#include "system/OpenDescriptors.h"
#include "transfer/ErrorSentence.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QMessageBox>
#include <QStyle>

#include <algorithm>
#include <cstdio>
#include <string_view>

using namespace fetra;
using namespace Qt::StringLiterals;

namespace {

constexpr int failed = 1;

/// The folder of what belongs to the application, as installed and in the build tree.
QUrl appBundle() {
    const QDir programs(QFileInfo(u"/proc/self/exe"_s).canonicalPath());
    return QUrl::fromLocalFile(QDir::cleanPath(programs.filePath(u"../lib/fetra"_s)));
}

/// `--help` and `--version` are answered where there is no window system too.
bool isQuestion(int argc, char** argv) {
    static constexpr std::string_view questions[] = {"-h", "--help", "-v", "--version"};
    return argc == 2 && std::ranges::find(questions, argv[1]) != std::end(questions);
}

void describe(QApplication& application) {
    QApplication::setDesktopFileName(u"fetra"_s);
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setStyle(new AppStyle(QApplication::style()->name()));
    application.setWindowIcon(QIcon::fromTheme(u"fetra"_s, QIcon(u":/icons/fetra.svg"_s)));
}

/// What the user wants opened. Ends the process for `--help` and `--version`.
QStringList parseArguments(const QCoreApplication& application) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QApplication::translate("main", "Downloads files over many connections."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(
        u"link"_s, QApplication::translate("main", "Add links, magnet links and .torrent files to open."),
        u"[link...]"_s);
    parser.process(application);
    return parser.positionalArguments();
}

/// A dialog of its own: there is no other window yet.
int complain(const QString& sentence) {
    std::fputs(qPrintable(u"fetra-app: %1\n"_s.arg(sentence)), stderr);
    QMessageBox(QMessageBox::Warning, u"Fetra"_s, sentence).exec();
    return failed;
}

int run(SingleInstance& instance, const Handover& handover) {
    const std::optional<QUrl> store = DownloadManager::defaultStoreURL();
    const std::optional<StateLock> lock = store ? StateLock::tryAcquire(store->toLocalFile()) : std::nullopt;
    if (store && !lock)
        return complain(QApplication::translate("main", "Another program is using the download list."));

    OpenDescriptors::raiseLimit();
    CurlClient http;
    SystemClock clock;
    SystemRandom random;
    Ticker ticker;
    EngineRunners runners({http, clock, random, ticker});
    Application application(
        {.manager = {.storeURL = store, .inboxes = DownloadManager::inboxURLs()}, .appBundle = appBundle()},
        runners, clock);
    QObject::connect(&instance, &SingleInstance::received, &application, [&](const Handover& received) {
        WindowActivation::permit(received.activationToken);
        application.open(received);
    });
    QObject::connect(&application, &Application::acceptingChanged, &instance, &SingleInstance::setListening);
    const TerminationSignals signals;
    QObject::connect(&signals, &TerminationSignals::received, &application, &Application::quitUnasked);
    application.launch();
    application.open(handover);
    return QApplication::exec();
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication::setApplicationName(u"Fetra"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(FETRA_VERSION));
    if (isQuestion(argc, argv))
        parseArguments(QCoreApplication(argc, argv));
    // Before the window system takes the activation token away.
    Handover handover = Handover::ofThisStart({}, {});
    WindowActivation::prepare();
    QApplication application(argc, argv);
    describe(application);
    handover.opened = Handover::ofThisStart(parseArguments(application), QDir::currentPath()).opened;
    SingleInstance instance;
    try {
        switch (instance.start(handover)) {
        case SingleInstance::Start::first:
        case SingleInstance::Start::unguarded:
            return run(instance, handover);
        case SingleInstance::Start::handedOver:
            return 0;
        case SingleInstance::Start::notTaken:
            return complain(QApplication::translate("main", "Fetra is running but does not answer."));
        case SingleInstance::Start::tooLarge:
            return complain(QApplication::translate("main", "Too many links to open at once."));
        }
    } catch (...) {
        return complain(errorSentence(std::current_exception()));
    }
    return failed;
}
