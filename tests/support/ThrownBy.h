#pragma once

#include "system/PosixError.h"

#include <optional>

namespace fetra::test {

/// The error of that type that the work throws; nothing when it throws none.
template <typename Error, typename Work>
[[nodiscard]] std::optional<Error> thrownBy(Work&& work) {
    try {
        work();
        return std::nullopt;
    } catch (const Error& error) {
        return error;
    }
}

/// The code of the `PosixError` that the work throws, 0 when it throws none.
template <typename Work>
[[nodiscard]] int posixCode(Work&& work) {
    const std::optional<PosixError> error = thrownBy<PosixError>(work);
    return error ? error->code() : 0;
}

} // namespace fetra::test
