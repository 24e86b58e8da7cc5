#include "edge/console.h"
#include "synchost/server.h"
#include "synchost/verbs.h"

namespace synchost {
namespace {

constexpr const char* kFooter = R"(
STORE is a file of SQLite, or postgresql://USER@HOST/DATABASE; several hosts may serve one PostgreSQL behind a balancer.
Devices that were not added are refused. SIGTERM ends the sessions in order, SIGHUP opens the log anew.

Examples:
  tellira synchost table create GOODS CODE:C:13 NAME:C:40 PRICE:N:12:2 --index BYCODE:CODE
  tellira synchost import GOODS goods.csv
  tellira synchost device add desk-1 --group shop
  tellira synchost --listen 127.0.0.1:5555 --metrics 127.0.0.1:9105

Exit status: 0 done, 1 done but the answer is no, 2 wrong usage or input, 3 the store failed.)";

constexpr int kMost = 1'000'000;

void addLimits(tool::Verb& group, Limits& limits) {
  group.option("--max-connections", limits.connections, "N", "Connections at once; more are turned away [1000]", 1,
               kMost);
  group.option("--idle", limits.idle, "SECONDS", "Ends a session in which nothing moves [180]", 1, kMost);
  group.option("--login", limits.login, "SECONDS", "Ends a connection without a login [30]", 1, kMost);
  group.option("--longest", limits.longest, "SECONDS", "Ends a session that takes longer [3600]", 1, kMost);
  group.option("--grace", limits.grace, "SECONDS", "For sessions to end after SIGTERM [20]", 0, kMost);
}

int serve(const StoreName& name, const ServeOptions& options) {
  if (options.listen.empty())
    throw tool::Failure(tool::kUsage,
                        "an address to listen on is missing.\n  next: --listen 127.0.0.1:5555, or a verb; "
                        "`tellira synchost --help` shows them.");
  Store store = OpenStore(name);
  Serve(store, options);
  return tool::kDone;
}

}  // namespace

void AddSynchost(tool::Verb& top) {
  auto options = std::make_shared<ServeOptions>();
  const auto store = std::make_shared<std::string>("synchost.db");
  tool::Verb group = top.verb("synchost", "Serve devices that synchronise their tables, and keep those tables");
  group.action([store, options] { return serve(store, *options); });
  group.sharedOption("--store", *store, "STORE", "Where all is kept [synchost.db]");
  group.option("--listen", options->listen, "ADDR:PORT", "Serve devices on this address");
  group.option("--metrics", options->metrics, "ADDR:PORT", "Serve counters for Prometheus on this address");
  group.option("--log", options->log, "FILE", "Add a line of JSON for each session [standard output]");
  addLimits(group, options->limits);
  AddStatus(group, store);
  AddDevice(group, store);
  AddTable(group, store);
  AddRows(group, store);
  AddTask(group, store);
  group.footer(kFooter);
}

}  // namespace synchost
