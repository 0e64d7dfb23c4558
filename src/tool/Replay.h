#pragma once

#include <chrono>
#include <cstddef>
#include <functional>

#include "CallLoop.h"
#include "RecordingFile.h"
#include "Session.h"

namespace kova::tool {

/// How a recording is replayed.
struct ReplayOptions {
    /// The factor by which the replay is faster than the recording; 0 for no pauses.
    double speed = 1;
    /// The longest wait for each value or end that the recording has.
    std::chrono::milliseconds patience{30000};
    /// Receives each event of the new recording.
    std::function<void(const RecordedEvent&)> onEvent;
};

/// Sends the requests of a recording again, and records the answers.
///
/// A request is sent when its time has come and when everything that comes before it in the
/// recording has happened: the same number of values has arrived, and the same requests have ended.
/// A stream that was cancelled in the recording is cancelled after the same number of values; later
/// values are ignored. A request that has no end in the recording is cancelled when the replay
/// ends.
///
///     Recording again;
///     options.onEvent = [&](const RecordedEvent& event) { again.events.push_back(event); };
///     replay(recording, **session, options);
///
/// Returns `interrupted` if Ctrl-C was pressed; else `holds`.
CallLoop::Reason replay(const Recording& recording, Session& session, const ReplayOptions& options);

}  // namespace kova::tool
