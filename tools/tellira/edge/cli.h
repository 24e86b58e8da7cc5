// How a verb meets the command line: each verb is one file with one function that registers it.
#pragma once

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <chrono>
#include <functional>
#include <string>

namespace tool {

/// The options of every verb that calls the library.
struct LibraryOptions {
  std::string library;
  std::string directory = ".";
  int timeoutSeconds = 300;

  /// Absolute path of the library that is meant.
  std::string libraryPath() const;
  /// Absolute path of the working directory.
  std::string directoryPath() const;
  std::chrono::seconds timeout() const { return std::chrono::seconds(timeoutSeconds); }
};

/// Adds --lib, --cwd and --timeout to a verb; `options` must live as long as the verb.
void addLibraryOptions(CLI::App& verb, LibraryOptions& options);

/// What the chosen verb does after the command line was read; returns the exit status.
using Action = std::function<int()>;

/// Registers one verb: `action` is set when the verb is chosen.
void addCall(CLI::App& app, Action& action);
void addCommands(CLI::App& app, Action& action);
void addSale(CLI::App& app, Action& action);
void addDb(CLI::App& app, Action& action);

/// Arguments are passed through this before the parser sees them, fields again through `unguarded` after it. The parser
/// takes an argument in square brackets apart as a list; a field must arrive as it was typed.
std::string guarded(const std::string& argument);
std::string unguarded(const std::string& argument);

}  // namespace tool
