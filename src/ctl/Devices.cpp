// The commands for the paired phones.

#include <algorithm>
#include <array>
#include <iterator>

#include "core/Localized.h"
#include "core/Text.h"
#include "ctl/Commands.h"
#include "ctl/DaemonClient.h"
#include "ctl/LocalTime.h"
#include "ctl/Naming.h"
#include "ctl/Output.h"
#include "ctl/Phone.h"
#include "ctl/PushOutcome.h"

namespace ctl {

namespace {

// More of a name than this makes the columns fall apart, in cells.
constexpr std::size_t widestName = 40;

using Row = std::array<std::string, 4>;

Row rowOf(const Phone& phone) {
    const std::string pairedAt = dateTimeText(phone.addedAt);
    return {text::visible(naming::shortId(phone.id)),
            text::inOneRow(text::visible(phone.name), widestName),
            pairedAt.empty() ? localized("配對時間不明") : localized("%@ 配對", {pairedAt}),
            localized(phone.isOnline ? "在線" : "不在線上")};
}

// Each column as wide as its widest text; the last one needs no width.
void print(const std::vector<Row>& rows) {
    std::array<std::size_t, std::tuple_size_v<Row> - 1> widths{};
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < widths.size(); ++i)
            widths[i] = std::max(widths[i], text::columns(row[i]));
    }
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < widths.size(); ++i)
            line += row[i] + std::string(widths[i] - text::columns(row[i]) + 2, ' ');
        output::write(line + row.back() + "\n");
    }
}

} // namespace

int devices(const Context& context, const Arguments& arguments) {
    const JSONValue list = DaemonClient(context).get("/devices");
    if (arguments.json) {
        output::writeJSON(list);
        return 0;
    }
    const auto phones = phonesIn(list);
    if (phones.empty())
        output::write(localized("還沒有配對的手機，用 tamsellctl pair 配對") + "\n");
    std::vector<Row> rows;
    std::ranges::transform(phones, std::back_inserter(rows), rowOf);
    print(rows);
    return 0;
}

int devicesRemove(const Context& context, const Arguments& arguments) {
    const DaemonClient daemon(context);
    const auto phones = phonesIn(daemon.get("/devices"));
    const Phone& phone = naming::find(phones, &Phone::id, arguments.words[0],
                                      "沒有代號為 %@ 的手機；用 tamsellctl devices 查看",
                                      "代號以 %@ 開頭的手機有 %@ 支，請多打幾個字元");
    daemon.post("/devices/remove", {{"id", phone.id}});
    output::write(localized("已移除：%@", {text::visible(phone.name)}) + "\n");
    return 0;
}

int testPush(const Context& context, const Arguments& /*arguments*/) {
    const PushOutcome outcome = sendTestPush(DaemonClient(context));
    if (!outcome.isDelivered)
        throw DaemonError(outcome.text);
    output::write(outcome.text + "\n");
    return 0;
}

} // namespace ctl
