#pragma once

#include <QString>

namespace fetra {

/// What goes wrong in the application and crosses from one operation to another that shows it.
struct AppError {
    static constexpr const char* domain = "Fetra";
    enum class Code { droppedContentUnreadable = 1, filesShared = 2, stillStopping = 3, cancelled = 4 };

    Code code;
    /// A sentence for the user.
    QString description;
};

} // namespace fetra
