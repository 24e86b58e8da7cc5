#include "sync/code_words.h"

#include <algorithm>
#include <iterator>

#include "sync/sync_texts.h"

namespace vorne {

namespace {

struct CodeRow {
  int code;
  SyncText words;
};
constexpr CodeRow kCodes[] = {
    {1074, SyncText::CodeDamagedData},       {1106, SyncText::CodeNoInterface},  {1107, SyncText::CodeHandle},
    {1108, SyncText::CodeNotConnected},      {1109, SyncText::CodeLoginNotSent}, {1110, SyncText::CodeNoLoginReply},
    {1111, SyncText::CodeLoginRefused},      {1113, SyncText::CodeVersion},      {1116, SyncText::CodeRequestNotSent},
    {1117, SyncText::CodeNoTaskCount},       {1118, SyncText::CodeTaskRefused},  {1125, SyncText::CodeUnknownHost},
    {1135, SyncText::CodeNoSocket},          {1136, SyncText::CodePacketUnread}, {1137, SyncText::CodePacketNotSent},
    {1138, SyncText::CodeNoAcknowledgement}, {1139, SyncText::CodeNotAccepted},  {1142, SyncText::CodeNoTask},
    {1143, SyncText::CodeNoBuffers},         {1148, SyncText::CodeUnknownTask},  {1162, SyncText::CodeTaskNotSent},
    {1172, SyncText::CodeTableNotRequested}, {1173, SyncText::CodeLineBroke},
};

struct TaskRow {
  std::uint8_t code;
  const char* words;
};
constexpr TaskRow kTasks[] = {{1, "receive table"}, {2, "send table"}, {3, "delete table"},   {10, "install"},
                              {22, "install"},      {30, "nothing"},   {40, "receive images"}};

}  // namespace

const char* CodeWords(int code) {
  const auto* found =
      std::find_if(std::begin(kCodes), std::end(kCodes), [code](const CodeRow& row) { return row.code == code; });
  return TextOf(found == std::end(kCodes) ? SyncText::CodeOther : found->words);
}

std::string TaskWords(const Task& task) {
  const auto* found =
      std::find_if(std::begin(kTasks), std::end(kTasks), [&task](const TaskRow& row) { return row.code == task.code; });
  return found == std::end(kTasks) ? "unknown task " + std::to_string(task.code) : found->words;
}

}  // namespace vorne
