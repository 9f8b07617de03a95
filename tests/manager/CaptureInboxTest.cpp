#include "browser/CaptureJob.h"
#include "support/ManagerWorld.h"

#include <QDir>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::runUntil;

class CaptureInboxTest : public test::ManagerWorld {
protected:
    CaptureInboxTest() { inboxes = {file(u"inbox"_s), file(u"none/second"_s)}; }

    void drop(const QByteArray& content, const QString& name = u"job.fetrajob"_s) {
        folder.write(u"inbox/"_s + name, content);
    }
};

TEST_F(CaptureInboxTest, MakesItemsOfJobs) {
    const QString here = folder.path();
    const std::tuple<QByteArray, QString, QString> cases[] = {
        {R"({"url":"http://h.example/a%20b"})", u"a b"_s, here},
        {R"({"url":"http://h.example/a","filename":" .. "})", u"a"_s, here},
        {R"({"url":"http://h.example/a","filename":"x/../mine","directory":"/tmp/there"})", u"x_.._mine"_s,
         u"/tmp/there"_s},
        {R"({"url":"http://h.example/a","directory":"~/there"})", u"a"_s, QDir::homePath() + u"/there"_s},
        {R"({"url":"http://h.example/a","directory":"there"})", u"a"_s, here},
        {R"({"url":"http://h.example/a","directory":"//[/x"})", u"a"_s, u"/[/x"_s},
    };
    manager().setAutoStart(false);
    for (const auto& [job, name, directory] : cases) {
        SCOPED_TRACE(job.toStdString());
        drop(QByteArray(job).replace("}", R"(,"cookie":"c=1"})"));
        ASSERT_TRUE(runUntil([&] { return !manager().items().isEmpty(); }));
        const Item made = item(0);
        EXPECT_EQ(made->filename(), name);
        EXPECT_EQ(made->directory(), QUrl::fromLocalFile(directory));
        EXPECT_EQ(made->headers(), (QMap<QString, QString>{{u"Cookie"_s, u"c=1"_s}}));
        EXPECT_EQ(made->status(), DownloadStatus::probing) << "whatever autoStart says";
        manager().remove(made, false);
        EXPECT_TRUE(folder.names(u"inbox"_s).isEmpty());
    }
}

TEST_F(CaptureInboxTest, DeletesWhatIsNoJobAndLeavesOtherFilesAlone) {
    manager();
    const QByteArray good = R"({"url":"http://h.example/a"})";
    drop(good, u"a.FETRAJOB"_s);
    drop(good, u"fetrajob"_s);
    for (const QByteArray& each : {QByteArray("{"), good + QByteArray(CaptureJob::maxFileBytes, ' ')}) {
        drop(each);
        EXPECT_TRUE(runUntil([&] { return folder.names(u"inbox"_s).size() == 2; }))
            << each.left(40).toStdString();
    }
    EXPECT_TRUE(manager().items().isEmpty());
    EXPECT_FALSE(QFileInfo(folder.path(u"none"_s)).permissions() & QFile::ReadOther) << "jobs hold cookies";
}

TEST_F(CaptureInboxTest, TakesALinkOnceWhileItIsUnfinished) {
    using enum DownloadStatus;
    for (const DownloadStatus status : {queued, probing, downloading, paused, completed, failed}) {
        manager().setMaxConcurrentDownloads(0);
        const Item known = add(u"a"_s, false);
        known->setStatus(status);
        drop(R"({"url":"http://host.example/a"})");
        ASSERT_TRUE(runUntil([&] { return folder.names(u"inbox"_s).isEmpty(); }));
        EXPECT_EQ(manager().items().size(), status == completed || status == failed ? 2 : 1);
        start();
        for (const Item& each : QList(manager().items()))
            manager().remove(each, false);
    }
}

TEST_F(CaptureInboxTest, ReadsWhatWasLeftBeforeTheStartAndWatchesFoldersMadeAgain) {
    folder.write(u"none/second/b.fetrajob"_s, R"({"url":"http://h.example/b"})");
    drop(R"({"url":"http://h.example/a"})");
    EXPECT_EQ(start().items().size(), 2);
    ASSERT_TRUE(QDir(folder.path(u"inbox"_s)).removeRecursively());
    ASSERT_TRUE(runUntil([&] { return folder.contains(u"inbox"_s); }));
    drop(R"({"url":"http://h.example/c"})");
    EXPECT_TRUE(runUntil([&] { return manager().items().size() == 3; }));
}

} // namespace
} // namespace fetra
