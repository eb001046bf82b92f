#include "ui/PairState.h"

#include <algorithm>
#include <cmath>

#include <QDateTime>
#include <QRegularExpression>

#include "ui/VisibleName.h"

using namespace std::chrono_literals;

namespace {

// Beyond this a date has no year that anybody could read.
constexpr double latestMilliseconds = 253'402'300'799'000;

// In a question, which must fit the window even when all of them are marks.
constexpr int mostOfAName = 60;

std::optional<PairState::Code> codeOf(const PairFacts& facts) {
    if (!facts.invite || facts.invite->expires <= facts.now)
        return std::nullopt;
    PairState::Code code;
    code.link = QString::fromStdString(facts.invite->invite.link());
    code.countdown = PairState::tr("只能配對一支手機，%1 後失效。不要讓別人拍到。")
                         .arg(countdownText(facts.invite->expires - facts.now));
    code.showsLink = facts.revealLink;
    return code;
}

std::optional<PairState::Confirmation> confirmationOf(const PairFacts& facts) {
    if (facts.removing)
        return PairState::Confirmation{
            PairState::tr("移除「%1」？")
                .arg(shortened(QString::fromStdString(facts.removing->name), mostOfAName)),
            PairState::tr("這支手機會立刻斷線，也不會再收到通知。要再用的話重新掃描就好。"),
            PairState::tr("移除")};
    if (facts.confirmReset)
        return PairState::Confirmation{PairState::tr("停用中繼？"),
                                       PairState::tr("所有已配對的手機都會移除，之後要重新配對。"),
                                       PairState::tr("停用中繼")};
    return std::nullopt;
}

} // namespace

PairState PairState::of(const PairFacts& facts) {
    PairState state;
    if (!facts.relay) {
        state.setUp =
            SetUp{facts.hasRelayURL, facts.relayURL.startsWith(QLatin1String("https://")) ||
                                         facts.relayURL.startsWith(QLatin1String("http://"))};
        return state;
    }
    state.code = codeOf(facts);
    state.waiting = facts.isConnected ? tr("正在產生 QR code…") : tr("正在連到中繼…");
    for (const PairedDevice& device : facts.relay->devices)
        state.phones.push_back(
            {QString::fromStdString(device.id), QString::fromStdString(device.name),
             dateText(device.addedAt, facts.locale), facts.online.contains(device.id)});
    state.testResult = facts.testResult;
    state.relayURL = QString::fromStdString(facts.relay->url);
    state.confirmation = confirmationOf(facts);
    return state;
}

QString countdownText(std::chrono::system_clock::duration left) {
    const auto seconds = std::max(std::chrono::floor<std::chrono::seconds>(left), 0s).count();
    constexpr long minute = 60;
    return QStringLiteral("%1:%2")
        .arg(seconds / minute)
        .arg(seconds % minute, 2, 10, QLatin1Char('0'));
}

QString dateText(double milliseconds, const QLocale& locale) {
    if (!(std::abs(milliseconds) <= latestMilliseconds))
        return {};
    // The long form, without the weekday, and with the month abbreviated.
    static const QRegularExpression weekday(QStringLiteral("[\\s,،]*dddd[\\s,،]*"));
    QString format = locale.dateFormat(QLocale::LongFormat);
    format.remove(weekday);
    format.replace(QLatin1String("MMMM"), QLatin1String("MMM"));
    return locale.toString(QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(milliseconds)).date(),
                           format);
}
