#include "app/desktop/StoredPreferences.h"

#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace fetra::test {
namespace {

using namespace Qt::StringLiterals;

mode_t modeOf(const QString& path) {
    struct stat status {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 07777 : 0;
}

/// What another process would find in the file at `path`: Qt keeps content by path within one process.
std::unique_ptr<StoredPreferences> readElsewhere(const TempFolder& folder, const QString& name) {
    static int copies = 0;
    return std::make_unique<StoredPreferences>(
        folder.write(u"copy-%1.ini"_s.arg(++copies), folder.read(name)));
}

TEST(StoredPreferencesTest, KeepsWhatWasSetWithItsValue) {
    const QHash<QString, QVariant> values{
        {u"on"_s, true},
        {u"off"_s, false},
        {u"number"_s, -12},
        {u"Text"_s, u"a, \"b\"; %c\nü \U0001F600 = [x]\\"_s},
        {u"empty"_s, u""_s},
        {u"at"_s, u"@Invalid()"_s},
        {u"list"_s, QStringList{u"a"_s, u"b, c"_s}},
        {u"bytes"_s, QByteArray("\0\xff\n", 3)},
        {u"a group/ü key"_s, u"x"_s},
    };
    QHash<QString, QVariant> defaults;
    for (auto value = values.begin(); value != values.end(); ++value)
        defaults.insert(value.key(), QVariant(value->metaType()));
    const TempFolder folder;
    const QString path = folder.path(u"new/Fetra.ini"_s);
    {
        StoredPreferences preferences(path);
        for (auto value = values.begin(); value != values.end(); ++value)
            preferences.setValue(value.key(), *value);
    }
    EXPECT_EQ(modeOf(path), 0600U);
    EXPECT_EQ(modeOf(folder.path(u"new"_s)), 0700U);
    const auto again = readElsewhere(folder, u"new/Fetra.ini"_s);
    again->registerDefaults(defaults);
    for (auto value = values.begin(); value != values.end(); ++value)
        EXPECT_EQ(again->value(value.key()), *value) << value.key().toStdString();
    EXPECT_FALSE(again->value(u"text"_s).isValid()) << "keys know upper case";
}

TEST(StoredPreferencesTest, DefaultsAnswerUntilAValueIsSetAndAreNeverStored) {
    const TempFolder folder;
    const QString path = folder.path(u"Fetra.ini"_s);
    {
        StoredPreferences preferences(path);
        preferences.setValue(u"set"_s, false);
        preferences.registerDefaults({{u"set"_s, true}, {u"first"_s, 1}});
        preferences.registerDefaults({{u"first"_s, 2}, {u"second"_s, u"b"_s}});
        EXPECT_EQ(preferences.value(u"set"_s), false);
        EXPECT_EQ(preferences.value(u"first"_s), 2) << "calls add up";
        EXPECT_EQ(preferences.value(u"second"_s), u"b"_s);
        EXPECT_FALSE(preferences.value(u"other"_s).isValid());
    }
    const auto again = readElsewhere(folder, u"Fetra.ini"_s);
    EXPECT_FALSE(again->value(u"first"_s).isValid());
    again->registerDefaults({{u"set"_s, true}});
    EXPECT_EQ(again->value(u"set"_s), false);
}

TEST(StoredPreferencesTest, LiesInTheFolderForSettings) {
    const TempFolder folder;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(folder.path()));
    {
        StoredPreferences preferences;
        preferences.setValue(u"on"_s, true);
    }
    qunsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(folder.names(), QStringList{u"Fetra"_s});
    EXPECT_TRUE(folder.read(u"Fetra/Fetra.ini"_s).contains("on=true"));
}

TEST(StoredPreferencesTest, DamageYieldsDefaultsAndCanBeRepaired) {
    const struct {
        const char* what;
        QByteArray content;
    } cases[] = {
        {"empty", ""},
        {"noise", QByteArray("\x00\xff\xfe[[[=\n]==\"\n", 13)},
        {"cut in a text", "[General]\non=\"tr"},
        {"no value", "[General]\non"},
        {"an empty value", "[General]\non="},
        {"no boolean", "[General]\non=perhaps"},
        {"nothing", "[General]\non=@Invalid()"},
        {"a broken value", "[General]\non=@Variant(\\0\\0\\0\\x7f\\xff)"},
        {"a value of another kind", "[General]\non=@ByteArray(xyz)"},
        {"a list", "[General]\non=true, false"},
        {"one long line", "[General]\n" + QByteArray(1'000'000, 'x')},
    };
    for (const auto& [what, content] : cases) {
        const TempFolder folder;
        const QString path = folder.write(u"Fetra.ini"_s, content);
        for (const bool byDefault : {true, false}) {
            StoredPreferences preferences(path);
            preferences.registerDefaults({{u"on"_s, byDefault}});
            EXPECT_EQ(preferences.value(u"on"_s), byDefault) << what;
        }
        {
            StoredPreferences preferences(path);
            preferences.setValue(u"on"_s, true);
        }
        const auto again = readElsewhere(folder, u"Fetra.ini"_s);
        again->registerDefaults({{u"on"_s, false}});
        EXPECT_EQ(again->value(u"on"_s), true) << what;
    }
}

TEST(StoredPreferencesTest, WorksOnWithoutAFileToKeepThemIn) {
    const TempFolder folder;
    folder.write(u"file"_s, "");
    ASSERT_TRUE(QDir().mkpath(folder.path(u"folder.ini"_s)));
    const QString unreadable = folder.write(u"unreadable.ini"_s, "[General]\non=false\n");
    ASSERT_EQ(::chmod(QFile::encodeName(unreadable), 0), 0);
    QStringList paths{folder.path(u"folder.ini"_s), folder.path(u"file/Fetra.ini"_s)};
    if (::geteuid() != 0)
        paths.append(unreadable);
    for (const QString& path : paths) {
        StoredPreferences preferences(path);
        preferences.registerDefaults({{u"on"_s, true}});
        EXPECT_EQ(preferences.value(u"on"_s), true) << path.toStdString();
        preferences.setValue(u"on"_s, false);
        EXPECT_EQ(preferences.value(u"on"_s), false) << "as long as the application runs";
    }
    EXPECT_EQ(folder.names(), (QStringList{u"file"_s, u"folder.ini"_s, u"unreadable.ini"_s}));
}

TEST(StoredPreferencesTest, TakesNothingAwayThatAnotherProcessHasSet) {
    const TempFolder folder;
    const QString path = folder.write(u"Fetra.ini"_s, "[General]\nold=1\nchanged=1\n");
    {
        StoredPreferences preferences(path);
        ASSERT_EQ(preferences.value(u"old"_s).toInt(), 1);
        folder.write(u"Fetra.ini"_s, "[General]\nold=1\nchanged=2\ntheirs=1\n");
        preferences.setValue(u"ours"_s, 1);
    }
    const auto again = readElsewhere(folder, u"Fetra.ini"_s);
    again->registerDefaults({{u"old"_s, 0}, {u"changed"_s, 0}, {u"theirs"_s, 0}, {u"ours"_s, 0}});
    for (const auto& [key, value] :
         {std::pair(u"old"_s, 1), {u"changed"_s, 2}, {u"theirs"_s, 1}, {u"ours"_s, 1}})
        EXPECT_EQ(again->value(key), value) << key.toStdString();
}

} // namespace
} // namespace fetra::test
