#include "transfer/HTTPProbe.h"

#include <gtest/gtest.h>
#include <QElapsedTimer>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;

constexpr qsizetype maxNameBytes = 237;

TEST(NamingTest, NamesFromContentDisposition) {
    const std::pair<QString, std::optional<QString>> cases[] = {
        {u"attachment; filename*=UTF-8''na%C3%AFve.txt; filename=\"plain.txt\""_s, u"naïve.txt"_s},
        {u"attachment; filename=\"plain.txt\"; FileName*=UTF-8'en'na%C3%AFve.txt"_s, u"UTF-8'en'naïve.txt"_s},
        {u"filename*=\"UTF-8''a%20b.txt\""_s, u"a b.txt"_s},
        {u"filename*= 'a.txt' ;x"_s, u"a.txt"_s},
        {u"filename*=UTF-8''%FF.txt; filename=b.txt"_s, u"b.txt"_s},
        {u"attachment; FILENAME=data.csv; size=10"_s, u"data.csv"_s},
        {u"filename=  a%20b.txt \t"_s, u"a%20b.txt"_s},
        {u"filename=  \" a;b\\\"; x"_s, u" a;b\\"_s},
        {u"filename=\"no end"_s, std::nullopt},
        {u"filename= ;"_s, std::nullopt},
    };
    for (const auto& [header, name] : cases)
        EXPECT_EQ(HTTPProbe::filenameFromDisposition(header), name) << header.toStdString();
}

TEST(NamingTest, NamesFromAddresses) {
    const std::pair<QString, std::optional<QString>> cases[] = {
        {u"https://h/files/My%2520File.zip"_s, u"My File.zip"_s},
        {u"https://h/100%25.txt"_s, u"100%.txt"_s},
        {u"https://h/%FF.zip"_s, u"%FF.zip"_s},
        {u"https://h/folder/"_s, u"folder"_s},
        {u"https://h/"_s, std::nullopt},
    };
    for (const auto& [url, name] : cases)
        EXPECT_EQ(HTTPProbe::filenameFromURL(QUrl(url)), name) << url.toStdString();
}

TEST(NamingTest, SanitizedNamesAreSafe) {
    const QString flag = u"🇩🇪"_s; // One character, two code points, eight bytes.
    const QString a(1, u'a');
    const std::pair<QString, QString> cases[] = {
        {u"a/b:c\\d"_s, u"a_b_c_d"_s},
        {u"../../etc/passwd"_s, u"_.._etc_passwd"_s},
        {u"...hidden"_s, u"hidden"_s},
        {u"..."_s, u"download"_s},
        {u""_s, u"download"_s},
        {u"\u2028 a \u2029\u00a0"_s, u"a"_s},
        {u"disk.iso.part"_s, u"disk.iso_part"_s},
        {u"disk.iso.Fetra"_s, u"disk.iso_Fetra"_s},
        {u"disk.iso.fetra.tmp"_s, u"disk.iso_fetra.tmp"_s},
        {u"disk.part1.rar"_s, u"disk.part1.rar"_s},
        {u"a\nb\tc\u0085d"_s, u"a_b_c_d"_s},
        {u"a"_s + QChar(0) + u"b"_s, u"a_b"_s},
        {u"\u202egpj.exe"_s, u"_gpj.exe"_s},
        {u"a\U000e0041b"_s, u"a_b"_s},
        {u"a"_s + QChar(0xd83d) + u"b"_s + QChar(0xde00), u"a_b_"_s},
        {a.repeated(246) + u".iso"_s, a.repeated(190) + u".iso"_s},
        {a.repeated(201), a.repeated(190)},
        {a.repeated(189) + u" "_s + a.repeated(50), a.repeated(189)},
        // By bytes, between characters.
        {flag.repeated(40) + u".iso"_s, flag.repeated((maxNameBytes - 4) / 8) + u".iso"_s},
        {u"é"_s.repeated(199), u"é"_s.repeated(maxNameBytes / 2)},
        // Letters after which Qt's finder of boundaries stops inside surrogate pairs.
        {u"\u100d👩"_s.repeated(150), u"\u100d👩"_s.repeated(33) + u"\u100d"_s},
        // An extension that leaves no room counts as part of the name.
        {u"a."_s + u"x"_s.repeated(300), (u"a."_s + u"x"_s.repeated(300)).first(190)},
        {u"a."_s + u"é"_s.repeated(120), u"a."_s + u"é"_s.repeated(117)},
        // One character that is longer than any name.
        {u"a"_s + u"\u0301"_s.repeated(5'000), u"a"_s + u"\u0301"_s.repeated(118)},
    };
    for (const auto& [name, safe] : cases) {
        SCOPED_TRACE(name.left(60).toStdString());
        EXPECT_EQ(HTTPProbe::sanitize(name), safe);
        EXPECT_LE(safe.toUtf8().size(), maxNameBytes);
    }
}

TEST(NamingTest, AHugeNameCostsLittle) {
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(HTTPProbe::sanitize(QString(20'000'000, u'.') + u"a"_s), u"download"_s);
    EXPECT_EQ(HTTPProbe::sanitize(QString(20'000'000, u'a')), QString(190, u'a'));
    EXPECT_LT(timer.elapsed(), 5'000);
}

TEST(NamingTest, AnExtensionIsAddedOnlyWhereItIsKnownAndMissing) {
    const std::tuple<QString, std::optional<QString>, QString> cases[] = {
        {u"report"_s, u"application/pdf; charset=binary"_s, u"report.pdf"_s},
        {u"report"_s, u" Application/PDF\t"_s, u"report.pdf"_s},
        {u"report. Final"_s, u"application/pdf"_s, u"report. Final.pdf"_s},
        {u"archive.tar"_s, u"application/gzip"_s, u"archive.tar"_s},
        {u"report"_s, u"application/octet-stream"_s, u"report"_s},
        {u"report"_s, u"../../x"_s, u"report"_s},
        {u"report"_s, std::nullopt, u"report"_s},
        {u"é"_s.repeated(118), u"application/pdf"_s, u"é"_s.repeated(116) + u".pdf"_s},
    };
    for (const auto& [name, type, result] : cases)
        EXPECT_EQ(HTTPProbe::ensureExtension(name, type), result) << name.toStdString();
}

} // namespace
} // namespace fetra
