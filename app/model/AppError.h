#pragma once

#include <QString>

namespace fetra {

/// What goes wrong in the application and crosses from one operation to another that shows it.
struct AppError {
    enum class Code {
        /// The system's, or somebody's wish.
        other = 0,
        droppedContentUnreadable = 1,
        filesShared = 2,
        stillStopping = 3,
    };

    Code code = Code::other;
    /// A sentence for the user.
    QString description;
};

} // namespace fetra
