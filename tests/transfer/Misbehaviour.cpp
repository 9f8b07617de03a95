#include "Misbehaviour.h"

#include "DownloadRun.h"
#include "segmented/HostLimits.h"

#include <gtest/gtest.h>

namespace fetra::test {

using namespace Qt::StringLiterals;

namespace {

QStringList namesLeft(Misbehaviour::Left left) {
    switch (left) {
    case Misbehaviour::Left::Nothing:
        return {};
    case Misbehaviour::Left::Part:
        return {u"f.bin.part"_s};
    case Misbehaviour::Left::Record:
        break;
    }
    return {u"f.bin.fetra"_s, u"f.bin.part"_s};
}

void runOnce(const Misbehaviour& row, bool tls, qint64 lanes) {
    HostLimits::forget(u"127.0.0.1"_s);
    RealWorld world;
    const TempFolder folder;
    ScriptedServer server({}, {.certificate = tls ? std::optional(TestCertificate()) : std::nullopt});
    server.setHandler(row.handler ? row.handler(server)
                                  : FileScript{.file = row.file, .rules = row.lies}.handler());
    if (row.connections)
        server.setConnectionRule(row.connections);

    const QByteArray right = row.finished.value_or(row.file.content);
    const DownloadRequest request = toFolder(server.url("/f.bin"), folder.path());
    const Ending ending = download(world, request, impatient(lanes, row.maxRetries));
    EXPECT_TRUE(ending.words.startsWith(QString::fromStdString(row.end)))
        << "it ended with: " << ending.words.toStdString();
    expectNothingWrongIsFinished(folder, right);
    if (ending.isComplete()) {
        EXPECT_EQ(folder.names(), QStringList{u"f.bin"_s});
        EXPECT_EQ(ending.result->bytes, right.size());
        return;
    }
    EXPECT_EQ(folder.names(), namesLeft(row.left));

    const qint64 held = heldBytes(folder, u"f.bin"_s, row.file.content);
    server.setHandler(serve(row.file));
    server.setConnectionRule({});
    const Ending second = download(world, request, impatient(lanes));
    EXPECT_EQ(second.words, u"complete"_s);
    expectNothingWrongIsFinished(folder, row.file.content);
    EXPECT_EQ(folder.names(), QStringList{u"f.bin"_s});
    EXPECT_EQ(second.isComplete() ? second.result->resumedFrom : -1, held);
}

} // namespace

const ServerFile& Misbehaviour::defaultFile() {
    static const ServerFile file = ServerFile::ofSize(defaultSize);
    return file;
}

void runMisbehaviour(const Misbehaviour& row) {
    for (const bool tls : row.alsoOverTLS ? std::vector{false, true} : std::vector{false}) {
        for (const qint64 lanes : row.lanes) {
            SCOPED_TRACE(::testing::Message() << lanes << (tls ? " lanes over TLS" : " lanes"));
            runOnce(row, tls, lanes);
        }
    }
}

} // namespace fetra::test
