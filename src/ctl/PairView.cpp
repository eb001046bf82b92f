#include "ctl/PairView.h"

#include <algorithm>
#include <stdexcept>

#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/QRDrawing.h"

namespace ctl {

namespace {

constexpr std::string_view clearTerminal = "\x1b[2J\x1b[H";

std::string timeLine(std::string_view timeLeft, std::size_t columns) {
    // The last cell stays free: some terminals wrap as soon as it is taken.
    return text::inOneRow(localized("只能配對一支手機，%@ 後失效。不要讓別人拍到。Ctrl-C 結束",
                                    {std::string(timeLeft)}),
                          std::max<std::size_t>(columns, 2) - 1);
}

// How many rows a text takes where a wide character does not fit into the last cell of one.
std::size_t rowsFor(std::string_view text, std::size_t columns) {
    std::size_t rows = 1;
    for (text.remove_prefix(text::fitting(text, columns).size()); !text.empty();
         text.remove_prefix(text::fitting(text, columns).size()))
        ++rows;
    return rows;
}

// The code, or why there is none.
std::string picture(const std::string& link, Terminal::Size size, std::size_t otherRows) {
    try {
        const qr::Code code = qr::encode(link);
        const std::size_t columns = qrdrawing::columns(code);
        const std::size_t rows = qrdrawing::rows(code) + otherRows;
        if (columns <= size.columns && rows <= size.rows)
            return qrdrawing::drawn(code);
        return localized("終端機太小，畫不下 QR code：要 %lld 欄 %lld 列，現在是 %lld 欄 %lld 列。",
                         {static_cast<double>(columns), static_cast<double>(rows),
                          static_cast<double>(size.columns), static_cast<double>(size.rows)}) +
               "\n" + localized("放大視窗或縮小字型，或在手機上打開這個連結：") + "\n";
    } catch (const std::length_error&) {
        return localized("連結太長，畫不成 QR code。在手機上打開這個連結：") + "\n";
    }
}

} // namespace

std::string PairView::draw(const std::string& link, std::string_view timeLeft,
                           Terminal::Size size) {
    const bool isResized = m_rows > 0 && size != m_size;
    std::string text = isResized ? std::string(clearTerminal) : erase();
    m_size = size;
    size.columns = std::max<std::size_t>(size.columns, 1);
    const std::string shownLink = text::visible(link);
    const std::size_t linkRows = rowsFor(shownLink, size.columns);
    // Below it all there is the row in which the cursor stands.
    const std::string above = picture(link, size, linkRows + 2);
    m_rows = linkRows + 1;
    for (std::size_t at = 0, end = 0; (end = above.find('\n', at)) != std::string::npos;
         at = end + 1) {
        const auto line = std::string_view(above).substr(at, end - at);
        m_rows += line.starts_with('\x1b') ? 1 : rowsFor(line, size.columns);
    }
    return text + above + shownLink + "\n" + timeLine(timeLeft, size.columns) + "\n";
}

std::string PairView::tick(std::string_view timeLeft) const {
    return "\x1b[1A\r\x1b[K" + timeLine(timeLeft, m_size.columns) + "\n";
}

std::string PairView::erase() {
    if (m_rows == 0)
        return "";
    // What has left the terminal at its top cannot be reached any more.
    const std::size_t reach = std::min(m_rows, std::max<std::size_t>(m_size.rows, 1) - 1);
    m_rows = 0;
    return "\x1b[" + std::to_string(reach) + "A\r\x1b[J";
}

} // namespace ctl
