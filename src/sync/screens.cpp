// The synchroniser's screens; how they look is the back end's.
#include <array>
#include <iterator>

#include "log/message_log.h"
#include "screen/back_end.h"
#include "sync/config.h"
#include "sync/state_lines.h"
#include "sync/vornesync.h"

using namespace vorne;

namespace {

constexpr long kLargeLog = 1L << 20;

struct Entry {
  SyncText label;
  std::string UserSettings::*value;
  std::size_t room;
};
constexpr Entry kEntries[] = {{SyncText::User, &UserSettings::user, 20},
                              {SyncText::Identification, &UserSettings::device, 25},
                              {SyncText::Server, &UserSettings::host, 20},
                              {SyncText::Port, &UserSettings::port, 15},
                              {SyncText::Timeout, &UserSettings::timeout, 3}};

}  // namespace

void __TAVREL_vld_005() {
  __begin_context();
  Obj_Node* places[4] = {};
  for (Obj_Node*& place : places) place = __SET_OBJECT(nullptr, __INIT_DOUBLE(0));
  __INITSYNC(places[0], places[1], places[2], places[3]);
  if (netglb != nullptr) netglb->Meter1 = netglb->Label1 = netglb->Meter2 = netglb->Label2 = nullptr;
  __end_context(nullptr);
}

void __TAVREL() {
  __TAVREL_vld_005();
}

void CONFIGURACOES() {
  UserSettings settings;
  ReadSettings(settings);
  std::array<FormField, std::size(kEntries)> fields;
  for (std::size_t i = 0; i < std::size(kEntries); ++i)
    fields[i] = {TextOf(kEntries[i].label), settings.*kEntries[i].value, kEntries[i].room};
  if (!screen.form(TextOf(SyncText::Settings), fields, TextOf(SyncText::Ok), TextOf(SyncText::Cancel))) return;
  for (std::size_t i = 0; i < std::size(kEntries); ++i) settings.*kEntries[i].value = fields[i].text;
  StoreSettings(settings);
}

void HISTORICO() {
  screen.lines(TextOf(SyncText::History), __GetAmnRecsMsgLog(), MessageAt);
  if (MessageBytes() > kLargeLog && screen.ask(TextOf(SyncText::LogTooLarge), TextOf(SyncText::History)))
    ClearMessages();
}
