// Stands in for the application: a manager that watches the inboxes, until the first download has ended.
// Argument: the folder to save into. Prints the path of the file, or why there is none.

#include "http/CurlClient.h"
#include "manager/DownloadManager.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char** argv) {
    using namespace fetra;
    const QCoreApplication application(argc, argv);
    CurlClient http;
    SystemClock clock;
    SystemRandom random;
    Ticker ticker;
    EngineRunners runners({http, clock, random, ticker});
    DownloadManager manager({.storeURL = std::nullopt,
                             .defaultDirectory = QUrl::fromLocalFile(QCoreApplication::arguments().value(1)),
                             .inboxes = DownloadManager::inboxURLs()},
                            runners);
    manager.onCompleted = [](const DownloadManager::Item& item) {
        std::printf("%s\n", qUtf8Printable(item->destination()->toLocalFile()));
        QCoreApplication::quit();
    };
    manager.onFailed = [](const DownloadManager::Item& item) {
        std::printf("%s\n", qUtf8Printable(item->errorMessage().value_or(QString())));
        QCoreApplication::exit(1);
    };
    return QCoreApplication::exec();
}
