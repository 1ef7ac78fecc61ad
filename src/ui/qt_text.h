// Text between the system (UTF-8, lone surrogates kept) and Qt (UTF-16), without loss in either direction.
#pragma once

#include <QString>
#include <string>
#include <string_view>

namespace corvix::ui {

QString ToQt(std::string_view text);
std::string FromQt(const QString& text);

}  // namespace corvix::ui
