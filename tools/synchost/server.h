// The host on the network: an event loop of one thread, and a session behind each of its connections.
//
// What many devices bring at the same time goes into the store together: all that came in one round of the loop stands
// with one commit, and only then they are answered. Nothing but the sessions is kept between two rounds.
#pragma once

#include <string>

#include "synchost/store.h"

namespace synchost {

struct Limits {
  int connections = 1000;  ///< open at once, those without a login included
  int login = 30;          ///< seconds until a device has logged in
  int idle = 180;          ///< seconds in which nothing moves
  int longest = 3600;      ///< seconds of a whole session
  int grace = 20;          ///< seconds for sessions to end when the host is to end
};

struct ServeOptions {
  std::string listen, metrics, log;
  Limits limits;
};

/// Serves until SIGTERM or SIGINT, then lets the sessions end.
/// @throws tool::Failure for addresses and files that cannot be had
void Serve(Store& store, const ServeOptions& options);

}  // namespace synchost
