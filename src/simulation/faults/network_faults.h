// The faults of the network: how connections behave, and what befalls them.
#pragma once

#include "simulation/faults/scene.h"

namespace quarnex::simulation {

/// Gives a new connection its conditions and its damage, each direction its own.
void afflictConnection(Scene& scene, Connection& connection);
/// Whether a call goes through.
CallFate fateOf(Scene& scene);

/// Nothing arrives for a while, in one direction or both.
void holdOne(Scene& scene);
/// One end learns that the connection is broken, the other does not.
void halfOpenOne(Scene& scene);
/// A connection, or all of them, end at either end or both, in the orderly way or not.
void breakSome(Scene& scene);
/// Strangers call: one that is silent, or a storm of them.
void callIn(Scene& scene);
/// A stranger takes a port, and does there as it likes.
void squat(Scene& scene);
/// A hostile peer calls.
void attack(Scene& scene);
/// It sends one byte every 9 seconds.
void drip(Scene& scene);
/// It has a link to itself, and sends a frame of 1 to 64 MiB without an end; 100,000 frames at once.
void sendEndless(Scene& scene);
void sendBacklog(Scene& scene);

}  // namespace quarnex::simulation
