#pragma once

#include <QString>

namespace fetra::torrent {

/// Thrown for what ends a transfer; the sentence is for the user.
struct Failure {
    QString sentence;
};

} // namespace fetra::torrent
