#include "history/history_path.h"

#include <QStandardPaths>

namespace pellum {

std::string defaultHistoryPath() {
  return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation).toStdString() +
         "/pellum/history.sqlite3";
}

}  // namespace pellum
