#pragma once

#include <QString>

#include <exception>

namespace fetra::cli {

/// What `Downloader` threw, as the sentence for the user.
[[nodiscard]] QString errorSentence(const std::exception_ptr& error);

} // namespace fetra::cli
