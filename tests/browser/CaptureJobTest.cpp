#include "browser/CaptureJob.h"

#include "support/TempFolder.h"
#include "support/ThrownBy.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::TempFolder;

TEST(CaptureJobTest, ReadsJobFiles) {
    const QUrl url(u"https://a.test/f"_s);
    const QByteArray shortest = R"({"url":"https://a.test/f"})";
    // Short enough in characters, too long in bytes.
    const QString longest = u'ü' + QString(65'534, u'c');
    const QByteArray withCookie = R"({"url":"https://a.test/f","cookie":")" + longest.toUtf8() + R"("})";
    const std::vector<std::pair<QByteArray, std::optional<CaptureJob>>> cases{
        {R"({"url":"https://a.test/f","cookie":"k=v","referrer":"https://a.test/","userAgent":"UA/1",)"
         R"("directory":"~/x","filename":"ü.iso","added":[1]})",
         CaptureJob{url, u"k=v"_s, u"https://a.test/"_s, u"UA/1"_s, u"~/x"_s, u"ü.iso"_s}},
        {R"({"url":"https://a.test/f","cookie":1,"referrer":null,"userAgent":{},"directory":[],"filename":true})",
         CaptureJob{url}},
        {R"({"url":"https://a.test/f","filename":"half a \ud83d"})", CaptureJob{url}},
        {R"({"url":"a.test/f"})", {}},
        {R"({"url":"https://[x/"})", {}},
        {R"(["https://a.test/f"])", {}},
        {withCookie, CaptureJob{.url = url, .cookie = longest}},
        {QByteArray(withCookie).replace("ü", "üc"), {}},
        {shortest + QByteArray(1'048'576 - shortest.size(), ' '), CaptureJob{url}},
        {shortest + QByteArray(1'048'577 - shortest.size(), ' '), {}},
    };
    for (const auto& [content, expected] : cases)
        EXPECT_EQ(CaptureJob::parse(content), expected)
            << content.first(std::min<qsizetype>(content.size(), 80)).toStdString() << ", " << content.size();
}

TEST(CaptureJobTest, HeadersAreOnlyWhatCanBeSent) {
    const std::vector<std::pair<CaptureJob, QMap<QString, QString>>> cases{
        {{.cookie = u"a=ü; b"_s, .referrer = u"r"_s, .userAgent = u"UA/1"_s},
         {{u"Cookie"_s, u"a=ü; b"_s}, {u"Referer"_s, u"r"_s}, {u"User-Agent"_s, u"UA/1"_s}}},
        {{.cookie = u"a=b\r\nHost: x"_s, .referrer = u"r"_s}, {{u"Referer"_s, u"r"_s}}},
        {{.cookie = u"a"_s, .referrer = u"x\x7f"_s, .userAgent = u"x\0y"_s}, {{u"Cookie"_s, u"a"_s}}},
    };
    for (const auto& [job, expected] : cases)
        EXPECT_EQ(job.headers(), expected) << job.cookie.toStdString();
}

TEST(CaptureJobTest, LeavesAPrivateFileThatReadsBackTheSameAndNothingElse) {
    const TempFolder folder;
    const QString inbox = u"Fetra/inbox"_s;
    const CaptureJob job{
        QUrl(u"https://a.test/ü?q=%20#x"_s), u"k=\"\\v\nü😀"_s, u"r"_s, u"u"_s, u"~/d"_s, u"f"_s};
    QStringList paths{job.deposit(folder.path(inbox)), job.deposit(folder.path(inbox))};
    paths.sort();
    QStringList found;
    for (const QString& name : folder.names(inbox)) {
        const QString file = inbox + u'/' + name;
        found += folder.path(file);
        EXPECT_TRUE(name.endsWith(u".fetrajob"_s)) << name.toStdString();
        EXPECT_EQ(CaptureJob::parse(folder.read(file)), job);
        EXPECT_EQ(folder.mode(file), 0600U);
    }
    EXPECT_EQ(found, paths);
    EXPECT_EQ(folder.mode(u"Fetra/inbox"_s), 0700U);
}

TEST(CaptureJobTest, AJobThatCannotBeKeptIsAnErrorAndLeavesNothing) {
    const TempFolder folder;
    (void)folder.write(u"file"_s, "not a folder");
    const CaptureJob small{.url = QUrl(u"https://a.test/f"_s)};
    // Every byte takes six in the file.
    const QString growing(65'536, QChar(1));
    const CaptureJob large{.url = small.url, .cookie = growing, .referrer = growing, .userAgent = growing};
    EXPECT_EQ(test::posixCode([&] { return small.deposit(folder.path(u"file/inbox"_s)); }), ENOTDIR);
    EXPECT_EQ(test::posixCode([&] { return large.deposit(folder.path(u"inbox"_s)); }), EFBIG);
    EXPECT_EQ(folder.names(), QStringList{u"file"_s});
}

} // namespace
} // namespace fetra
