// The command line tool's entry: puts the verbs together, turns failures into text and exit status.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "db/db.h"
#include "edge/cli.h"
#include "edge/console.h"
#include "edge/failure_report.h"
#include "library/verbs.h"
#include "sale/verb_sale.h"
#include "sync/verb_sync.h"
#include "sync/verb_synchost.h"

#ifndef TELLIRA_VERSION
#error "TELLIRA_VERSION comes from the build"
#endif

namespace {

constexpr const char* kFooter = R"(
Examples (in a source tree where ./run was called; build/release/lib/devices holds simulated devices):
  tellira commands cupom                    commands with "cupom" in their name
  tellira call --cwd build/release/lib/devices ECF_AbrePortaSerial
  tellira sale --cwd build/release/lib/devices examples/sale.tlr
  tellira db --dir /srv/pos check           are the databases sound
  tellira help db check                     all about one verb

Exit status: 0 done, 1 done but the answer is no, 2 wrong usage or input, 3 the library ended the process or a device
is missing. Data goes to standard output, everything else to standard error. Card numbers are masked.)";

/// Whoever starts the tool may have closed its standard streams. The next file opened would take their place, and what
/// is printed would go there. Writing to what is put there fails, as it does to a closed stream.
void openMissingStreams() {
  int opened = 0;
  do opened = ::open("/dev/null", O_RDONLY);
  while (opened >= 0 && opened <= STDERR_FILENO);
  if (opened >= 0) ::close(opened);
}

/// Output that could not be written (a full disk) must not look like success.
int flushed(int status) {
  if (!tool::takeOutputFailure()) return status;
  tool::complain("the output could not be written.\n  next: look whether the disk is full.");
  return tool::kEnded;
}

int run(const std::vector<std::string>& arguments) {
  tool::CommandLine line("Point-of-sale devices through one library: fiscal printer and card payment.",
                         "tellira " TELLIRA_VERSION, kFooter);
  tool::addCall(line.top());
  tool::addCommands(line.top());
  tool::addSale(line.top());
  tool::addDb(line.top());
  tool::addSync(line.top());
  tool::addSynchost(line.top());
  return line.run(arguments);
}

}  // namespace

int main(int argc, char** argv) {
  openMissingStreams();
  std::signal(SIGPIPE, SIG_DFL);  // who calls the tool may ignore it; a reader that went away is no failure
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const auto end = std::find(arguments.begin(), arguments.end(), "--");
  const bool json = std::find(arguments.begin(), end, "--json") != end;
  try {
    return flushed(run(arguments));
  } catch (const tool::Failure& failure) {
    return flushed(tool::reportFailure(failure, json));
  } catch (const std::bad_alloc&) {
    return tool::reportFailure(tool::memoryFailure(), json);
  } catch (const std::exception& error) {
    return tool::reportFailure({tool::kEnded, std::string("stopped: ") + error.what() +
                                                  ".\n  next: try again; if it "
                                                  "stays, tell the maker what was asked for."},
                               json);
  }
}
