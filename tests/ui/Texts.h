#pragma once

#include <string>

#include <QString>

/// As tests compare and print it.
inline std::string utf8(const QString& text) {
    return text.toStdString();
}
