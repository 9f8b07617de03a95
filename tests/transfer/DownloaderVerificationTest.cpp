// Sizes and digests: what is checked before a file gets its name, and what the result says.

#include "DownloadRun.h"
#include "support/FileScript.h"
#include "support/ScriptedServer.h"
#include "transfer/ResumeStore.h"

#include <gtest/gtest.h>
#include <QCryptographicHash>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

constexpr qint64 fileSize = 1'000'000;

class DownloaderVerification : public ::testing::Test {
protected:
    Ending run(const DownloadOptions& options) {
        return download(world, toFolder(server.url("/f.bin"), folder.path()), options);
    }

    const ServerFile file = ServerFile::ofSize(fileSize);
    const QString digest =
        QString::fromLatin1(QCryptographicHash::hash(file.content, QCryptographicHash::Sha256).toHex());
    const TempFolder folder;
    ScriptedServer server{serve(file)};
    RealWorld world;
};

TEST_F(DownloaderVerification, ComparesTheDigestWithoutRegardToCaseAndNothingElse) {
    struct Case {
        const char* name;
        std::optional<QString> expected;
        QString end;
        std::optional<QString> reported;
    };
    const QString wrong = u"0"_s + digest.mid(1) + u"0"_s;
    const std::vector<Case> cases{
        {"right", digest, u"complete"_s, digest},
        {"upper case", digest.toUpper(), u"complete"_s, digest},
        {"none", std::nullopt, u"complete"_s, std::nullopt},
        {"empty", u""_s, u"complete"_s, std::nullopt},
        {"wrong", wrong, u"checksumMismatch %1 %2"_s.arg(wrong, digest), std::nullopt},
        {"with a space", digest + u' ', u"checksumMismatch %1  %2"_s.arg(digest, digest), std::nullopt},
        {"too short", digest.chopped(1), u"checksumMismatch %1 %2"_s.arg(digest.chopped(1), digest),
         std::nullopt},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        DownloadOptions options = impatient(8);
        options.expectedSHA256 = each.expected;
        const Ending ending = run(options);
        EXPECT_EQ(ending.words, each.end);
        if (ending.isComplete()) {
            EXPECT_EQ(ending.result->sha256, each.reported);
            EXPECT_TRUE(folder.read(u"f.bin"_s) == file.content);
            ASSERT_TRUE(QFile::remove(folder.path(u"f.bin"_s)));
        } else {
            EXPECT_EQ(folder.names(), QStringList{u"f.bin.part"_s}) << "kept, and not to be continued";
        }
    }
}

TEST_F(DownloaderVerification, ForgetsTheRecordOfAFileThatFailedTheDigest) {
    // Continued from a record that says that nothing is missing, it would fail for ever.
    folder.write(u"f.bin.part"_s, withDamage(file.content, 500'000, 1));
    ResumeStore::save({.url = server.url("/f.bin").toString(QUrl::FullyEncoded),
                       .totalSize = fileSize,
                       .etag = u"\"v1\""_s,
                       .segments = {{.start = 0, .end = fileSize - 1, .current = fileSize}}},
                      folder.path(u"f.bin.fetra"_s));
    DownloadOptions options = impatient(8);
    options.expectedSHA256 = digest;
    EXPECT_TRUE(run(options).words.startsWith(u"checksumMismatch"_s));
    EXPECT_EQ(folder.names(), QStringList{u"f.bin.part"_s});
    EXPECT_EQ(run(options).words, u"complete"_s);
    EXPECT_TRUE(folder.read(u"f.bin"_s) == file.content);
}

TEST_F(DownloaderVerification, DeliversEmptyFilesHoweverTheServerSaysSo) {
    const ServerFile empty = ServerFile::ofSize(0);
    const std::pair<const char*, Lies> cases[] = {
        {"416 with a total of 0", {}},
        {"200 with a length of 0", {.ignoreRange = true}},
        {"200 with an empty chunked body", {.ignoreRange = true, .framing = Framing::Chunked}},
        {"200 and the end", {.ignoreRange = true, .framing = Framing::UntilClose}},
    };
    for (const auto& [name, lies] : cases) {
        SCOPED_TRACE(name);
        server.setHandler(serve(empty, lies));
        const Ending ending = run(impatient(8));
        EXPECT_EQ(ending.words, u"complete"_s);
        EXPECT_EQ(folder.names(), QStringList{u"f.bin"_s});
        EXPECT_EQ(folder.tryRead(u"f.bin"_s), QByteArray());
        QFile::remove(folder.path(u"f.bin"_s));
    }
}

TEST_F(DownloaderVerification, CutsAFileOfUnknownSizeToWhatCame) {
    const Lies untold{.ignoreRange = true, .framing = Framing::Chunked};
    for (const qint64 size : {qint64(1), qint64(65'536), fileSize}) {
        SCOPED_TRACE(size);
        // Longer than what comes: left by an earlier attempt.
        folder.write(u"f.bin.part"_s, QByteArray(2 * fileSize, 'x'));
        const ServerFile other = ServerFile::ofSize(size);
        server.setHandler(serve(other, untold));
        DownloadOptions options = impatient(8);
        options.expectedSHA256 =
            QString::fromLatin1(QCryptographicHash::hash(other.content, QCryptographicHash::Sha256).toHex());
        const Ending ending = run(options);
        ASSERT_EQ(ending.words, u"complete"_s);
        EXPECT_EQ(ending.result->bytes, size);
        EXPECT_TRUE(folder.read(u"f.bin"_s) == other.content);
        ASSERT_TRUE(QFile::remove(folder.path(u"f.bin"_s)));
    }
}

TEST_F(DownloaderVerification, ForgetsTheLongerOfTwoAttemptsAtAFileOfUnknownSize) {
    // The first answer breaks after more bytes than the second one has in all.
    const ServerFile shorter = ServerFile::ofSize(300'000, 5);
    server.setHandler(FileScript{
        .file = file,
        .rules = {{.when = {.what = When::What::Data, .last = 1},
                   .lies = {.ignoreRange = true, .framing = Framing::Chunked, .cut = Cut{.at = 800'000}}},
                  {.when = {.what = When::What::Data},
                   .lies = {.file = shorter, .ignoreRange = true, .framing = Framing::Chunked}},
                  {.when = {}, .lies = {.ignoreRange = true, .framing = Framing::Chunked}}}}
                          .handler());
    EXPECT_EQ(run(impatient(8)).words, u"complete"_s);
    EXPECT_TRUE(folder.read(u"f.bin"_s) == shorter.content);
}

} // namespace
} // namespace fetra::test
