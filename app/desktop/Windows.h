#pragma once

namespace fetra {

/// The application's windows, for those who know none of them. Main thread only.
class Windows {
public:
    virtual ~Windows() = default;

    /// Opens the main window where it is closed, and brings it to the front.
    virtual void openMain() = 0;
};

} // namespace fetra
