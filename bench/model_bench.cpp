// What a long list costs the application, without windows: its tick, search, counts and commands on
// everything.

#include "app/model/AppModel.h"
#include "app/model/DownloadCommands.h"
#include "Measure.h"
#include "model/FakeDesktop.h"
#include "support/NoRunners.h"

#include <QCoreApplication>
#include <QTemporaryDir>

namespace {

using namespace fetra;
using namespace fetra::bench;
using namespace Qt::StringLiterals;

constexpr qsizetype activeCount = 10;

/// One in ten is not plain ASCII.
void rename(const DownloadManager& manager) {
    for (qsizetype index = 0; index < manager.items().size(); index += 10)
        manager.items()[index]->setFilename(u"Übergröße-%1-日本語.mkv"_s.arg(index));
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const QTemporaryDir folder;
    test::NoRunners runners;
    DownloadManager manager({.storeURL = QUrl::fromLocalFile(folder.filePath(u"state.json"_s)),
                             .defaultDirectory = QUrl::fromLocalFile(folder.path())},
                            runners);
    manager.setMaxConcurrentDownloads(0);
    test::FakeDesktop fake;
    const SystemClock clock;
    AppModel model(manager, fake.desktop(), clock);
    const DownloadCommands commands(model);
    manager.add(links(0, itemCount), {}, false);
    rename(manager);
    for (qsizetype index = 0; index < activeCount; ++index) {
        manager.items()[index * 900]->setStatus(DownloadStatus::downloading);
        manager.items()[index * 900]->setBytesPerSecond(1e6);
    }
    QSet<QUuid> everything;
    for (const AppModel::Item& item : manager.items())
        everything.insert(item->id());

    double slowestTick = 0;
    for (int tick = 0; tick < 30; ++tick)
        slowestTick = std::max(slowestTick, milliseconds([&] { model.tick(); }));
    report("slowest of the first ticks", slowestTick, "ms", 5);
    report("tick, 10 of 10,000 active", median(50, [&] { model.tick(); }), "ms", 5);
    model.setSelection(everything);
    report("tick with all selected", median(50, [&] { model.tick(); }), "ms", 5);
    model.setSearch(u"ubergrosse-77"_s);
    report("first search", milliseconds([&] { (void)model.filteredItems(); }), "ms", 10);
    report("search", median(20, [&] { (void)model.filteredItems(); }), "ms", 10);
    model.setSearch(u"no such thing"_s);
    report("search that finds nothing", median(20, [&] { (void)model.filteredItems(); }), "ms", 10);
    model.setSearch({});
    report("counts of all filters", median(20, [&] { (void)DownloadFilter::counts(manager.items()); }), "ms",
           5);
    report("resuming all, each stored anew", milliseconds([&] { model.resumeAll(); }), "ms", 150);
    report("hearing of it", milliseconds([&] { QCoreApplication::processEvents(); }), "ms", 50);
    report("1,000 links handed over as one add link", milliseconds([&] {
               QString text = u"fetra://add?url="_s;
               for (int number = 0; number < 1000; ++number)
                   text += u"http://cdn.example/%1.bin%20"_s.arg(number);
               model.handleURL(QUrl(text));
           }),
           "ms", 100);
    AppModel::Items waiting = manager.items();
    waiting.removeIf([](const AppModel::Item& item) { return item->isActive(); });
    QSet<QUuid> ids;
    for (const AppModel::Item& item : waiting)
        ids.insert(item->id());
    double longest = 0;
    model.performRemoval({.ids = ids, .deleteFiles = true});
    while (!model.deleting().isEmpty())
        longest = std::max(
            longest, milliseconds([&] { QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents); }));
    report("removing all with their files, longest step", longest, "ms", 150);
    return 0;
}
