#pragma once

#include <QByteArray>
#include <QDir>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <optional>
#include <sys/stat.h>

namespace fetra::test {

/// An empty folder that is gone, with all it holds, when the object is. Names may be relative paths.
class TempFolder {
public:
    explicit TempFolder(const QString& parent);
    TempFolder()
        : TempFolder(QDir::tempPath()) {}

    [[nodiscard]] QString path() const { return folder_.path(); }
    [[nodiscard]] QString path(const QString& name) const { return folder_.filePath(name); }
    /// Makes missing folders on the way, and throws when the file cannot be written.
    QString write(const QString& name, const QByteArray& bytes) const;
    [[nodiscard]] std::optional<QByteArray> tryRead(const QString& name) const;
    /// Throws when there is no such file.
    [[nodiscard]] QByteArray read(const QString& name) const;
    [[nodiscard]] bool contains(const QString& name) const;
    /// Permissions and identity of the file; all zero when there is none.
    [[nodiscard]] mode_t mode(const QString& name) const { return status(name).st_mode & 07777; }
    [[nodiscard]] ino_t inode(const QString& name) const { return status(name).st_ino; }
    /// Sorted by bytes, hidden ones and folders included, one level deep.
    [[nodiscard]] QStringList names(const QString& subfolder = {}) const;

private:
    struct stat status(const QString& name) const;

    QTemporaryDir folder_;
};

/// In memory where that can be had, for tests in which thousands of files come and go or disks are not
/// judged.
class QuickFolder : public TempFolder {
public:
    QuickFolder();
};

} // namespace fetra::test
