#include "sync/config.h"

#include <iterator>

#include "runtime/arguments.h"
#include "storage/tables.h"

using namespace vorne;

namespace {

constexpr char kTable[] = "CAD_USER";

struct Field {
  const char* name;
  int width;
  std::string UserSettings::*value;
};
// In the table's order.
constexpr Field kFields[] = {
    {"HOST", 20, &UserSettings::host},           {"US_NAME", 20, &UserSettings::user},
    {"DEV_TYPE", 30, &UserSettings::deviceType}, {"DEV_ID", 25, &UserSettings::device},
    {"PORT", 15, &UserSettings::port},           {"TOUT", 3, &UserSettings::timeout},
};
constexpr int kDeviceTypeBlanks = 12;

std::string trimmed(std::string text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

Obj_Node* structure() {
  Obj_Node* fields = __Array(__INIT_DOUBLE(0), nullptr);
  for (const Field& field : kFields)
    __AAdd(fields, __CreateArray(__INIT_CHARPTR(field.name), __INIT_CHARPTR("C"), __INIT_DOUBLE(field.width),
                                 __INIT_DOUBLE(0), __INIT_NUL()));
  return fields;
}

// The settings' table in an area of its own, which ends with this.
class OpenSettings {
 public:
  OpenSettings() {
    if (DmFindDatabase(0, kTable) == 0) return;
    before_ = S_GLOB->TBL_this;
    if (IsTrue(__DBUSEAREA(__INIT_BOOL(1), __INIT_CHARPTR("LOCAL"), __INIT_CHARPTR(kTable)))) area_ = S_GLOB->TBL_this;
  }
  OpenSettings(const OpenSettings&) = delete;
  OpenSettings& operator=(const OpenSettings&) = delete;
  ~OpenSettings() {
    if (area_ >= 0) __CloseTBL(area_);
    S_GLOB->TBL_this = before_;
  }

  int area() const { return area_; }

 private:
  int area_ = -1;
  std::int16_t before_ = S_GLOB->TBL_this;
};

// Only a table of these fields is read or written: a program may have one of its own under the name.
bool hasFields(int area) {
  for (std::size_t i = 0; i < std::size(kFields); ++i)
    if (__GetFieldPos(area, kFields[i].name) != static_cast<int>(i) + 1) return false;
  return true;
}

}  // namespace

namespace vorne {

SettingsFound ReadSettings(UserSettings& settings) {
  if (DmFindDatabase(0, kTable) == 0) return SettingsFound::NoTable;
  const OpenSettings table;
  if (table.area() < 0 || !hasFields(table.area())) return SettingsFound::CannotOpen;
  for (std::size_t i = 0; i < std::size(kFields); ++i) {
    const Obj_Node* value = __GetFieldByID(table.area(), static_cast<int>(i) + 1);
    settings.*kFields[i].value = HasText(value) ? trimmed(value->objData.mbuff) : "";
  }
  return SettingsFound::Yes;
}

bool StoreSettings(UserSettings settings) {
  settings.user = trimmed(settings.user);
  strupr(settings.user.data());
  if (DmFindDatabase(0, kTable) == 0 &&
      !IsTrue(__DBCREATE(__INIT_CHARPTR(kTable), structure(), __INIT_CHARPTR("LOCAL"))))
    return false;
  const OpenSettings table;
  if (table.area() < 0 || !hasFields(table.area())) return false;
  if (__TBL_RecCount()->objData.mdbl < 1) __DBAPPEND();
  for (std::size_t i = 0; i < std::size(kFields); ++i)
    __SetField(nullptr, __INIT_DOUBLE(static_cast<double>(i + 1)),
               __INIT_CHARPTR((settings.*kFields[i].value).c_str()));
  return IsTrue(__Commit());
}

}  // namespace vorne

Obj_Node* CreateUser(Obj_Node* device, Obj_Node* user, Obj_Node* host, Obj_Node* port, Obj_Node* timeout) {
  const auto text = [](const Obj_Node* n) { return trimmed(TextArgument(n).data()); };
  UserSettings settings;
  settings.host = text(host);
  settings.user = text(user);
  settings.deviceType = std::string(kDeviceTypeBlanks, ' ');
  settings.device = text(device);
  settings.port = text(port);
  settings.timeout = text(timeout);
  return __INIT_BOOL(StoreSettings(settings));
}
