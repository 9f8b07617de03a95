#pragma once

class QDropEvent;

namespace fetra {

/// Never moves: that would delete the thing where it came from. False, and the event is ignored, when the
/// source offers nothing else.
bool acceptWithoutMoving(QDropEvent& event);

} // namespace fetra
