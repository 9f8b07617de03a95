#include "cli/OutputTarget.h"

#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <QFile>

#include <sys/stat.h>
#include <unistd.h>

namespace fetra::cli {
namespace {

using namespace Qt::StringLiterals;

TEST(OutputTargetTest, TellsFoldersFromFilesAndSaysWhyAPlaceWillNotDo) {
    const test::TempFolder folder;
    folder.write(u"there/file.bin"_s, "x");
    ASSERT_EQ(::mkfifo(QFile::encodeName(folder.path(u"pipe"_s)).constData(), 0600), 0);
    const QString here = folder.path();
    const std::pair<QString, QString> places[] = {
        {u""_s, here + u"/"_s},
        {u"there"_s, here + u"/there/"_s},
        {u"new/deep/"_s, here + u"/new/deep/"_s},
        {u"new/deep"_s, here + u"/new/deep"_s},
        {u"there/file.bin"_s, here + u"/there/file.bin"_s},
        {u"./-"_s, here + u"/-"_s},
        {u"100%25 #1?.bin"_s, here + u"/100%25 #1?.bin"_s},
        {u"/"_s, u"/"_s},
        {u'/' + here + u"/[x]/../f"_s, here + u"/[x]/../f"_s},
        {QString(245, u'n'), here + u'/' + QString(245, u'n')},
    };
    for (const auto& [output, path] : places) {
        const auto target = outputTarget(output, here);
        ASSERT_TRUE(std::holds_alternative<QUrl>(target)) << qPrintable(output);
        EXPECT_EQ(std::get<QUrl>(target).toLocalFile(), path);
    }
    const std::tuple<QString, QString, QString> refusals[] = {
        {QString(123, u'é'), here, u"at most 245 bytes"_s},
        {u"there/file.bin/deep/er/"_s, here, u"/file.bin\" is not a folder"_s},
        {u"pipe"_s, here, u"neither a folder nor an ordinary file"_s},
        {{}, {}, u"does not exist any more"_s},
        {u"x/"_s, folder.path(u"caf\uFFFD"_s), u"not valid UTF-8"_s},
    };
    for (const auto& [output, currentFolder, part] : refusals) {
        const auto target = outputTarget(output, currentFolder);
        ASSERT_TRUE(std::holds_alternative<UsageError>(target)) << qPrintable(output);
        EXPECT_TRUE(std::get<UsageError>(target).sentence.contains(part)) << qPrintable(output);
    }
    EXPECT_EQ(folder.names(), (QStringList{u"pipe"_s, u"there"_s})) << "nothing is made";
}

TEST(OutputTargetTest, AFolderWithoutPermissionIsRefused) {
    const test::TempFolder folder;
    ASSERT_EQ(::chmod(QFile::encodeName(folder.path()).constData(), 0555), 0);
    // Root may write everywhere, so it becomes somebody else for the question.
    const bool isRoot = ::geteuid() == 0;
    ASSERT_TRUE(!isRoot || ::seteuid(65'534) == 0);
    QStringList sentences;
    for (const QString& output : {u""_s, u"a.bin"_s, u"new/"_s, u"new/a.bin"_s}) {
        const auto target = outputTarget(output, folder.path());
        if (const auto* error = std::get_if<UsageError>(&target))
            sentences += error->sentence;
    }
    ASSERT_TRUE(!isRoot || ::seteuid(0) == 0);
    EXPECT_EQ(sentences.size(), 4);
    EXPECT_EQ(sentences.filter(u"cannot be written to (Permission denied)"_s).size(), 4);
}

} // namespace
} // namespace fetra::cli
