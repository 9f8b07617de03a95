#pragma once

class QString;

/// Coming to the front on Wayland, where a window needs the word of whoever the user has just used.
namespace fetra::WindowActivation {

/// Before other threads run.
void prepare();
/// Lets the next window that asks for it come to the front by `token`, which another start of the application
/// was given. Main thread only.
void permit(const QString& token);

} // namespace fetra::WindowActivation
