#include "browser/CaptureJob.h"

#include "support/TempFolder.h"
#include "system/PosixError.h"

#include <gtest/gtest.h>
#include <QFile>
#include <QSet>

#include <cerrno>

#include <sys/stat.h>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::TempFolder;

mode_t modeOf(const QString& path) {
    struct stat status {};
    ::stat(QFile::encodeName(path).constData(), &status);
    return status.st_mode & 0777;
}

QByteArray withCookie(qsizetype length) {
    return R"({"url":"https://a.test/f","cookie":")" + QByteArray(length, 'c') + R"("})";
}

TEST(CaptureJobTest, ReadsJobFiles) {
    const QUrl url(u"https://a.test/f"_s);
    struct Case {
        const char* name;
        QByteArray content;
        std::optional<CaptureJob> job;
    };
    const std::vector<Case> cases{
        {"every field",
         R"({"url":"https://a.test/f","cookie":"k=v","referrer":"https://a.test/","userAgent":"UA/1",)"
         R"("directory":"~/x","filename":"ü.iso","added":[1]})",
         CaptureJob{url, u"k=v"_s, u"https://a.test/"_s, u"UA/1"_s, u"~/x"_s, u"ü.iso"_s}},
        {"only a link", R"({"url":"https://a.test/f"})", CaptureJob{url}},
        {"any scheme", R"({"url":"magnet:?xt=urn:btih:00"})", CaptureJob{QUrl(u"magnet:?xt=urn:btih:00"_s)}},
        {"wrong types are absent",
         R"({"url":"https://a.test/f","cookie":1,"referrer":null,"userAgent":{},"directory":[],"filename":true})",
         CaptureJob{url}},
        {"half a character is absent", R"({"url":"https://a.test/f","filename":"\ud83d"})", CaptureJob{url}},
        {"no link", R"({"cookie":"k=v"})", {}},
        {"a link of another type", R"({"url":7})", {}},
        {"an empty link", R"({"url":""})", {}},
        {"a link without a scheme", R"({"url":"a.test/f"})", {}},
        {"a link that does not parse", R"({"url":"https://[x/"})", {}},
        {"an array", R"(["https://a.test/f"])", {}},
        {"half written", R"({"url":"https://a.te)", {}},
        {"empty", "", {}},
        {"the longest text", withCookie(65'536), CaptureJob{.url = url, .cookie = QString(65'536, u'c')}},
        {"too long a text", withCookie(65'537), {}},
        {"too long in bytes, not in characters", withCookie(65'535).replace(":\"c", ":\"cü"), {}},
        {"the longest file", R"({"url":"https://a.test/f"})" + QByteArray(1'048'576 - 26, ' '),
         CaptureJob{url}},
        {"too long a file", R"({"url":"https://a.test/f"})" + QByteArray(1'048'577 - 26, ' '), {}},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        EXPECT_EQ(CaptureJob::parse(each.content), each.job);
    }
}

TEST(CaptureJobTest, HeadersAreOnlyWhatCanBeSent) {
    using Headers = QMap<QString, QString>;
    struct Case {
        CaptureJob job;
        Headers headers;
    };
    const std::vector<Case> cases{
        {{.cookie = u"a=ü; b"_s,
          .referrer = u"https://a.test/"_s,
          .userAgent = u"UA/1"_s,
          .filename = u"f"_s},
         Headers{
             {u"Cookie"_s, u"a=ü; b"_s}, {u"Referer"_s, u"https://a.test/"_s}, {u"User-Agent"_s, u"UA/1"_s}}},
        {{}, Headers{}},
        {{.cookie = u"a=b\r\nHost: x"_s, .referrer = u"https://a.test/"_s},
         Headers{{u"Referer"_s, u"https://a.test/"_s}}},
        {{.cookie = u"a"_s, .referrer = u"x\x7f"_s, .userAgent = u"x\0y"_s}, Headers{{u"Cookie"_s, u"a"_s}}},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.job.toJson().value(u"cookie"_s).toString().toStdString());
        EXPECT_EQ(each.job.headers(), each.headers);
    }
}

TEST(CaptureJobTest, LeavesAPrivateFileThatReadsBackTheSameAndNothingElse) {
    const TempFolder folder;
    const QString inbox = folder.path(u"Fetra/inbox"_s);
    const CaptureJob job{
        QUrl(u"https://a.test/ü?q=%20#x"_s), u"k=\"\\v\nü😀"_s, u"r"_s, u"u"_s, u"~/d"_s, u"f"_s};
    const QSet<QString> paths{job.deposit(inbox), job.deposit(inbox)};
    QSet<QString> found;
    for (const QString& name : folder.names(u"Fetra/inbox"_s)) {
        found += inbox + u'/' + name;
        EXPECT_TRUE(name.endsWith(u".fetrajob"_s)) << name.toStdString();
        EXPECT_EQ(CaptureJob::parse(folder.read(u"Fetra/inbox/"_s + name)), job);
        EXPECT_EQ(modeOf(inbox + u'/' + name), 0600);
    }
    EXPECT_EQ(found, paths);
    EXPECT_EQ(modeOf(inbox), 0700);
}

TEST(CaptureJobTest, AJobThatCannotBeKeptIsAnErrorAndLeavesNothing) {
    const TempFolder folder;
    (void)folder.write(u"file"_s, "not a folder");
    const QUrl url(u"https://a.test/f"_s);
    // Every byte takes six in the file.
    const QString growing(65'536, QChar(1));
    const std::vector<std::tuple<QString, CaptureJob, int>> cases{
        {u"file/inbox"_s, {.url = url}, ENOTDIR},
        {u"inbox"_s, {.url = url, .cookie = growing, .referrer = growing, .userAgent = growing}, EFBIG},
    };
    for (const auto& [name, job, code] : cases) {
        int thrown = 0;
        try {
            (void)job.deposit(folder.path(name));
        } catch (const PosixError& error) {
            thrown = error.code();
        }
        EXPECT_EQ(thrown, code) << name.toStdString();
        EXPECT_EQ(folder.names(), QStringList{u"file"_s});
    }
}

} // namespace
} // namespace fetra
