// The host's entry. `tellira synchost` starts it with its own words, so it answers as a verb of the tool.
#include <algorithm>
#include <csignal>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "edge/cli.h"
#include "edge/console.h"
#include "edge/failure_report.h"
#include "synchost/verbs.h"

#ifndef TELLIRA_VERSION
#error "TELLIRA_VERSION comes from the build"
#endif

namespace {

int run(int argc, char** argv) {
  tool::CommandLine line("The host with which devices synchronise their tables.", "tellira " TELLIRA_VERSION, "");
  synchost::AddSynchost(line.top());
  std::vector<std::string> words{"synchost"};
  words.insert(words.end(), argv + 1, argv + argc);
  const int status = line.run(words);
  if (!tool::takeOutputFailure()) return status;
  throw tool::Failure(tool::kEnded, "the output could not be written.\n  next: look whether the disk is full.");
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_DFL);
  const bool json = std::find(argv + 1, argv + argc, std::string("--json")) != argv + argc;
  try {
    return run(argc, argv);
  } catch (const tool::Failure& failure) {
    return tool::reportFailure(failure, json);
  } catch (const synchost::StoreFailure& failure) {
    return tool::reportFailure(
        {tool::kEnded,
         std::string("the store cannot be used: ") + failure.what() +
             ".\n  next: look at what --store names, whether you may write it and its directory, and whether "
             "its disk is full."},
        json);
  } catch (const std::bad_alloc&) {
    return tool::reportFailure(tool::memoryFailure(), json);
  } catch (const std::exception& error) {
    return tool::reportFailure({tool::kEnded, std::string("stopped: ") + error.what() + ".\n  next: try again."}, json);
  }
}
