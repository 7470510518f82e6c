// The windows as a table for people.

#include "host/launcher/commands/WindowTable.h"

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "host/kernel/OperatorLog.h"
#include "host/launcher/control/PlayText.h"
#include "qx/platform/IGraphicsDriver.h"

namespace plexion_host {
namespace {

using Row = std::vector<std::string>;

const Row kHeading = {"no",     "status", "rectangle", "order", "visible",  "alpha",
                      "active", "keys",   "memory",    "limit", "graphics", "content"};

std::string YesNo(bool value) { return value ? "yes" : "no"; }

std::string Rectangle(const qx::plexion::Rect& rect) {
  const auto x = static_cast<int32_t>(rect.x);
  const auto y = static_cast<int32_t>(rect.y);
  return std::to_string(rect.width) + "x" + std::to_string(rect.height) + (x < 0 ? "" : "+") +
         std::to_string(x) + (y < 0 ? "" : "+") + std::to_string(y);
}

Row RowOf(const HostWindow& window, qx::plexion::IPlexionSets* service) {
  PLEXION_CHECK(window.window != nullptr, "a row is of a window");
  Row row{std::to_string(window.number), StatusName(window, service)};
  qx::platform::OutputPlane* plane = nullptr;
  // Its lock may be held for as long as a load takes: the table must not wait for one content.
  if (!IsWindowBusy(window)) plane = window.window->GetOutputPlane();
  if (plane == nullptr) {
    row.insert(row.end(), {"-", "-", "-", "-"});
  } else {
    row.insert(row.end(), {Rectangle(plane->GetRect()), std::to_string(plane->GetStackingIndex()),
                           YesNo(plane->IsVisible()), std::to_string(plane->GetAlpha())});
  }
  const bool busy = IsWindowBusy(window);
  row.push_back(busy ? "-" : YesNo(window.window->IsActiveStageWindow()));
  row.push_back(YesNo(window.keyMaster));
  unsigned long long used = 0;
  unsigned long long limit = 0;
  unsigned long long graphics = 0;
  window.window->GetMemoryInfo(used, limit, graphics);
  row.push_back(std::to_string(used));
  row.push_back(limit == 0 ? "none" : std::to_string(limit));
  row.push_back(std::to_string(graphics));
  // Printed on a terminal, and read over shoulders: neither escapes nor passwords.
  row.push_back(PrintableWord(WithoutPasswords(window.content)));
  return row;
}

}  // namespace

std::string StatusName(const HostWindow& window, qx::plexion::IPlexionSets* service) {
  const char* const name =
      service != nullptr ? service->StageWindowStatusToString(window.status) : nullptr;
  return name != nullptr ? name : std::to_string(window.status);
}

bool IsWindowBusy(const HostWindow& window) { return window.status < qx::plexion::kStatusLoaded; }

std::string FormatWindowTable(const std::vector<HostWindow>& windows,
                              qx::plexion::IPlexionSets* service) {
  if (windows.empty()) return "there are no windows\n";
  std::vector<Row> rows{kHeading};
  for (const HostWindow& window : windows) rows.push_back(RowOf(window, service));
  return FormatColumns(rows);
}

}  // namespace plexion_host
