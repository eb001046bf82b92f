#include "relayd/StaticFiles.h"

#include <array>
#include <stdexcept>

#include "core/Base64Url.h"
#include "core/File.h"
#include "crypto/Hash.h"

namespace {

constexpr std::size_t mostBytes = std::size_t{32} * 1024 * 1024;
// What a page's builder names by its content.
constexpr std::string_view immutableFolder = "/assets/";

std::string typeOf(const std::filesystem::path& file) {
    struct Type {
        std::string_view suffix;
        const char* type;
    };
    constexpr std::array<Type, 11> types{{{".html", "text/html; charset=utf-8"},
                                          {".js", "text/javascript; charset=utf-8"},
                                          {".css", "text/css; charset=utf-8"},
                                          {".json", "application/json"},
                                          {".webmanifest", "application/manifest+json"},
                                          {".svg", "image/svg+xml"},
                                          {".png", "image/png"},
                                          {".ico", "image/vnd.microsoft.icon"},
                                          {".woff2", "font/woff2"},
                                          {".wasm", "application/wasm"},
                                          {".txt", "text/plain; charset=utf-8"}}};
    const std::string suffix = file.extension().string();
    const auto found = std::ranges::find(types, suffix, &Type::suffix);
    return found == types.end() ? "application/octet-stream" : found->type;
}

bool isHidden(const std::filesystem::path& relative) {
    return std::ranges::any_of(relative,
                               [](const auto& part) { return part.string().starts_with('.'); });
}

} // namespace

StaticFiles::StaticFiles(const std::filesystem::path& folder) {
    std::size_t bytes = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const auto relative = entry.path().lexically_relative(folder);
        if (!entry.is_regular_file() || isHidden(relative))
            continue;
        File file{.content = file::read(entry.path(), mostBytes),
                  .type = typeOf(relative),
                  .tag = {},
                  .isImmutable = false};
        bytes += file.content.size();
        if (bytes > mostBytes)
            throw std::runtime_error(folder.string() + ": more than 32 MiB");
        const std::string path = "/" + relative.generic_string();
        file.tag = '"' + base64url::encode(hash::sha256(file.content)) + '"';
        file.isImmutable = path.starts_with(immutableFolder);
        m_files.emplace(path, std::move(file));
    }
}

const StaticFiles::File* StaticFiles::find(std::string_view path) const {
    const auto found = m_files.find(path == "/" ? "/index.html" : path);
    return found == m_files.end() ? nullptr : &found->second;
}
