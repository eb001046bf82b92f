#include "daemon/StatusFile.h"

#include <system_error>
#include <utility>

#include <unistd.h>

#include "core/AtomicFile.h"

StatusFile::StatusFile(std::filesystem::path path)
    : m_path(std::move(path)), m_members{{"pid", static_cast<double>(::getpid())}} {}

bool StatusFile::set(std::string_view key, const JSONValue& value) {
    const JSONValue* now = m_members.find(key);
    if (m_isWritten && now && *now == value)
        return true;
    m_members.set(key, value);
    try {
        atomicfile::write(m_path, json::pretty(m_members) + "\n", 0600);
        m_isWritten = true;
    } catch (const std::system_error&) { // There is nobody to tell.
        m_isWritten = false;
    }
    return m_isWritten;
}
