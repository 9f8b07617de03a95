// What the download list costs: saving, loading, adding and memory, with many items and no network.

#include "manager/DownloadManager.h"
#include "manager/StateFile.h"
#include "Measure.h"
#include "support/NoRunners.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <vector>

namespace {

using namespace fetra;
using namespace fetra::bench;
using namespace Qt::StringLiterals;

/// Resident memory of this process in bytes.
double resident() {
    QFile file(u"/proc/self/statm"_s);
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return file.readAll().split(' ').value(1).toDouble() * 4096;
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const QTemporaryDir folder;
    test::NoRunners runners;
    const DownloadManager::Setup setup{.storeURL = QUrl::fromLocalFile(folder.filePath(u"state.json"_s)),
                                       .defaultDirectory = QUrl::fromLocalFile(folder.path()),
                                       .inboxes = {}};
    const double before = resident();
    auto manager = std::make_unique<DownloadManager>(
        DownloadManager::Setup{
            .storeURL = std::nullopt, .defaultDirectory = setup.defaultDirectory, .inboxes = {}},
        runners);
    manager->add(links(0, itemCount), {}, false);
    std::vector<QByteArrayView> pieces{"{\"items\":["};
    for (const auto& item : manager->items()) {
        if (pieces.size() > 1)
            pieces.emplace_back(",");
        pieces.emplace_back(item->encodedRecord());
    }
    report("memory, an item", (resident() - before) / itemCount / 1024, "KiB", 4);
    pieces.emplace_back(
        R"(],"maxConcurrentDownloads":3,"connectionsPerDownload":16,"defaultDirectory":"file:///tmp",)"
        R"("autoStart":false})");
    StateFile(folder.filePath(u"state.json"_s)).save(pieces);
    manager.reset();

    report("load of 10,000 items",
           median(5,
                  [&] {
                      manager.reset();
                      manager = std::make_unique<DownloadManager>(setup, runners);
                  }),
           "ms", 200);
    report("first save of 10,000 items, all encoded", milliseconds([&] { manager->setAutoStart(true); }),
           "ms", 1000);
    bool on = false;
    report("save of 10,000 items", median(20, [&] { manager->setAutoStart(on = !on); }), "ms", 15);
    const auto item = manager->items().at(itemCount / 2);
    report("one item changed and saved",
           median(20,
                  [&] {
                      item->setReceivedBytes(item->receivedBytes() + 1);
                      manager->setAutoStart(on = !on);
                  }),
           "ms", 15);
    report("adding 1,000 links from text to 10,000 items",
           milliseconds([&] { manager->add(links(itemCount, 1000), {}, false); }), "ms", 3000);
    report("pausing all of 11,000 items", milliseconds([&] { manager->pauseAll(); }), "ms", 50);
    return 0;
}
