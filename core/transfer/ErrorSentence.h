#pragma once

#include <QString>

#include <exception>

namespace fetra {

/// What a transfer threw, as the sentence for the user.
[[nodiscard]] QString errorSentence(const std::exception_ptr& error);

} // namespace fetra
