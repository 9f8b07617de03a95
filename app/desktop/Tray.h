#pragma once

namespace fetra {

/// The place for status icons. Main thread only.
class Tray {
public:
    virtual ~Tray() = default;

    /// Whether an icon would be seen now. May change while the session goes on.
    [[nodiscard]] virtual bool isAvailable() const = 0;
    /// Whether a symbolic icon is drawn there in a colour that suits its surroundings.
    [[nodiscard]] virtual bool colorsSymbols() const = 0;
};

} // namespace fetra
