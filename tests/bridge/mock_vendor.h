// What tests tell a recording vendor library.
#pragma once

#include <map>
#include <optional>
#include <string>

/// The answer that an argument of the next calls gets: bytes into a text, number into a reference.
struct MockAnswer {
  int number = 0;
  std::string bytes = {};
};

/// Without answers texts are answered with " r<argument> ", references with 100 + argument; once there is any,
/// arguments without one stay as they are. Without a result that is 1000 + number of arguments.
struct Mock {
  std::string record;                 // all calls, as NAME(arguments)
  std::map<int, MockAnswer> answers;  // by argument, from 0
  std::optional<int> result;
};

/// The library's own; found as "mock".
using MockFunction = Mock*();
