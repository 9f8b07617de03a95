// Sizes and digests: what is checked before a file gets its name, and what the result says.

#include "support/DownloadRun.h"

#include <QCryptographicHash>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

constexpr qint64 fileSize = 1'000'000;

class DownloaderVerification : public DownloadTest {
protected:
    DownloaderVerification()
        : DownloadTest(fileSize) {}

    const QString digest =
        QString::fromLatin1(QCryptographicHash::hash(file.content, QCryptographicHash::Sha256).toHex());
};

TEST_F(DownloaderVerification, ComparesTheDigestWithoutRegardToCaseAndNothingElse) {
    const QString wrong = u"0"_s + digest.mid(1) + u"0"_s;
    const std::pair<std::optional<QString>, QString> cases[] = {
        {std::nullopt, u"complete"_s},
        {digest.toUpper(), u"complete"_s},
        {wrong, u"SHA-256 mismatch: expected %1, got %2"_s.arg(wrong, digest)},
        {digest.chopped(1), u"SHA-256 mismatch: expected %1, got %2"_s.arg(digest.chopped(1), digest)},
    };
    for (const auto& [expected, end] : cases) {
        SCOPED_TRACE(expected.value_or(u"none"_s).toStdString());
        DownloadOptions options = impatient(8);
        options.expectedSHA256 = expected;
        const Ending ending = run(options);
        EXPECT_EQ(ending.words, end);
        if (ending.isComplete()) {
            EXPECT_EQ(ending.result->sha256, expected ? std::optional(digest) : std::nullopt);
            expectDelivered(ending, file);
            ASSERT_TRUE(QFile::remove(folder.path(u"f.bin"_s)));
        } else {
            EXPECT_EQ(folder.names(), QStringList{u"f.bin.part"_s}) << "kept, and not to be continued";
        }
    }
}

TEST_F(DownloaderVerification, ForgetsTheRecordOfAFileThatFailedTheDigest) {
    // Continued from a record that says that nothing is missing, it would fail for ever.
    folder.write(u"f.bin.part"_s, withDamage(file.content, 500'000));
    saveWholeRecord();
    DownloadOptions options = impatient(8);
    options.expectedSHA256 = digest;
    EXPECT_TRUE(run(options).words.startsWith(u"SHA-256 mismatch"_s));
    EXPECT_EQ(folder.names(), QStringList{u"f.bin.part"_s});
    EXPECT_EQ(run(options).words, u"complete"_s);
    EXPECT_TRUE(folder.read(u"f.bin"_s) == file.content);
}

} // namespace
} // namespace fetra::test
