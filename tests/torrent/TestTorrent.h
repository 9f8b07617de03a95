#pragma once

#include "support/ServerFile.h"

#include <QByteArray>
#include <QList>
#include <QUrl>

namespace fetra::test {

/// The description of a torrent, made by hand: one file under `name`, or a folder of files.
struct TestTorrent {
    struct File {
        QByteArrayList path;
        QByteArray content = {};
        /// Marks a symbolic link to this path.
        QByteArrayList linkTo = {};
    };

    QByteArray name;
    /// A single file.
    QByteArray content = {};
    /// Instead of it, those of a folder.
    QList<File> files = {};
    QUrl webSeed = {};
    QUrl tracker = {};

    /// The bytes of the `.torrent` file.
    [[nodiscard]] QByteArray bytes() const;
    /// A link that names peers on this computer by their ports.
    [[nodiscard]] QUrl magnet(const QList<quint16>& peers) const;

private:
    [[nodiscard]] QByteArray info() const;
};

} // namespace fetra::test
