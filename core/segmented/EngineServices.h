#pragma once

#include "http/HTTPSession.h"
#include "system/Clock.h"
#include "system/Random.h"
#include "system/Ticker.h"

namespace fetra {

/// What every transfer needs of the world. The composition root makes them; they outlive all transfers.
struct EngineServices {
    HTTPClient& http;
    Clock& clock;
    Random& random;
    TickSource& ticker;
};

} // namespace fetra
