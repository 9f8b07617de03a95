#pragma once

#include <QByteArray>
#include <QString>

#include <map>
#include <optional>
#include <set>
#include <thread>

namespace fetra::test {

/// Something that changed the disk below a folder, or made changes last. Names are relative to the folder.
struct Operation {
    enum class Kind {
        create,
        makeFolder,
        write,
        setLength,
        syncFile,
        syncFolder,
        rename,
        link,
        unlink,
        /// Not of the disk: the test has seen something end.
        mark,
    };

    Kind kind;
    /// Tells files apart whatever their names are.
    int file = -1;
    QByteArray name = {};
    QByteArray newName = {};
    qint64 offset = 0; ///< of a write; otherwise the length
    QByteArray data = {};
    std::thread::id thread = std::this_thread::get_id();

    /// Concerns what stands in a folder rather than in a file.
    [[nodiscard]] bool isOfFolder() const {
        return kind == Kind::create || kind == Kind::makeFolder || kind == Kind::rename ||
               kind == Kind::link || kind == Kind::unlink;
    }
    [[nodiscard]] bool isOfFile() const { return kind == Kind::write || kind == Kind::setLength; }
    /// The folder in whose keeping the change is.
    [[nodiscard]] QByteArray folder() const;
    [[nodiscard]] QByteArray text() const;
};

/// How much of an operation that nobody has synced the disk has kept.
enum class Fate {
    kept,
    lost,
    /// Of a write: the first part.
    torn,
    /// Of a write: the length, but zeros in place of the data or of one page of it.
    blank,
    holed,
};

/// A folder with all that is in it.
struct DiskImage {
    std::set<QByteArray> folders{QByteArray()};
    std::map<QByteArray, int> entries;
    std::map<int, QByteArray> contents;

    void apply(const Operation& operation, Fate fate = Fate::kept);
    /// With all its parents.
    [[nodiscard]] bool hasFolder(const QByteArray& name) const;
    /// What is there under that name.
    [[nodiscard]] std::optional<QByteArray> read(const QByteArray& name) const;
    /// Puts it into an empty folder; files of one content stay one file.
    void writeTo(const QString& folder) const;
    [[nodiscard]] QByteArray digest() const;
};

} // namespace fetra::test
