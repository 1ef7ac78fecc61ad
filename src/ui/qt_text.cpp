#include "ui/qt_text.h"

#include "common/text.h"

namespace corvix::ui {

QString ToQt(std::string_view text) {
  if (common::IsAscii(text)) return QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size()));
  return QString::fromStdU16String(common::ToUtf16(text));
}

std::string FromQt(const QString& text) { return common::ToUtf8(text.toStdU16String()); }

}  // namespace corvix::ui
