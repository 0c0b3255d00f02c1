// The faults of hosts: their services, their clocks, their loops, and what their applications do at the wrong
// moment.
#pragma once

#include "simulation/faults/scene.h"

namespace quarnex::simulation {

/// What befalls a host all the time: operations that fail, deliveries that nest, events that come as they
/// should not.
void afflictHost(Scene& scene, Host& host);
/// Takes all that away, brings the host up if it is down or cannot recover, and opens all its links.
void relieveHost(Place& place);

/// No descriptor left, or one, for a while.
void starve(Scene& scene);
/// An event out of the blue.
void raiseEvent(Scene& scene);
/// The disk is full, refuses a write, is slow, loses all files; the log is opened, closed, renamed, begun
/// anew.
void spoilDisk(Scene& scene);

void jumpForward(Scene& scene);
void jumpBack(Scene& scene);
/// The clock stands or drifts for a while.
void changeSpeed(Scene& scene);
void strobe(Scene& scene);
/// The clock is set between two readings of one step.
void jumpInside(Scene& scene);
void changeSummerTime(Scene& scene);

/// No turn of the loop for 1 second to 2 days.
void stall(Scene& scene);
/// Ticks between 150 ms and 5 s apart for a while.
void changePace(Scene& scene);
/// Opens, closes, empties, switches and shuts down at any moment.
void callHost(Scene& scene);
/// One end of a pair, or both, with another order of links.
void restart(Scene& scene);
/// The application takes nothing for a while.
void goDeaf(Scene& scene);
/// An application sends 5,001 to 6,000 texts at once.
void burst(Scene& scene);
/// It adds a link, for which there may be no peer.
void addLink(Scene& scene);
/// The last second of a day comes twice.
void leap(Scene& scene);
/// The clock is set forward by a month to a year.
void jumpByMonths(Scene& scene);

}  // namespace quarnex::simulation
