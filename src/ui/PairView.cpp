#include "ui/PairView.h"

#include <algorithm>
#include <exception>

#include <QClipboard>
#include <QGuiApplication>
#include <QHideEvent>
#include <QShowEvent>

using namespace std::chrono_literals;

namespace {

constexpr auto tickInterval = 1s;
constexpr auto pollInterval = 500ms;

} // namespace

PairView::PairView(Environment environment, QWidget* parent)
    : ColumnWindow("pair", PairState::tr("配對手機"), new PairPanel, parent),
      m_environment(std::move(environment)),
      m_daemon(m_environment.daemon),
      m_panel(static_cast<PairPanel*>(content())),
      m_now(m_environment.clock()) {
    connectPanel();
    connect(&m_daemon, &Daemon::changed, this, [this] {
        if (isVisible())
            redraw();
    });
}

void PairView::connectPanel() {
    connect(m_panel, &PairPanel::urlChanged, this, [this](const QString& url) {
        m_relayURL = url;
        redraw();
    });
    connect(m_panel, &PairPanel::createClicked, this, &PairView::createRelay);
    connect(m_panel, &PairPanel::newCodeClicked, this, &PairView::newCode);
    connect(m_panel, &PairPanel::revealToggled, this, [this] {
        m_revealLink = !m_revealLink;
        redraw();
    });
    connect(m_panel, &PairPanel::copyClicked, this, &PairView::copyLink);
    connect(m_panel, &PairPanel::testPushClicked, this, &PairView::testPush);
    connect(m_panel, &PairPanel::removeClicked, this, &PairView::askToRemove);
    connect(m_panel, &PairPanel::resetClicked, this, [this] {
        m_confirmReset = true;
        redraw();
    });
    connect(m_panel, &PairPanel::confirmed, this, &PairView::confirm);
    connect(m_panel, &PairPanel::confirmationDismissed, this, &PairView::dismiss);
}

// What it shows.

PairState PairView::state() const {
    const Config& config = m_daemon.config();
    PairFacts facts;
    facts.relay = config.relay();
    facts.hasRelayURL = config.relayURL().has_value();
    facts.invite = m_daemon.invite();
    facts.isConnected = m_daemon.relay().connected();
    facts.online = m_daemon.relay().online();
    facts.relayURL = m_relayURL;
    facts.revealLink = m_revealLink;
    facts.confirmReset = m_confirmReset;
    facts.removing = m_removing;
    facts.testResult = m_testResult;
    facts.now = m_now;
    return PairState::of(facts);
}

// While there is no code to show, an invite is asked for once in every second.
void PairView::redraw() {
    PairState shown = state();
    if (shown.setUp || shown.code) {
        m_askedAt.reset();
    } else if (const auto second = std::chrono::round<std::chrono::seconds>(m_now);
               m_askedAt != second) {
        m_askedAt = second;
        (void)m_daemon.currentInvite();
        shown = state();
    }
    if (shown.setUp) {
        m_confirmReset = false;
        m_removing.reset();
    }
    m_panel->show(shown);
}

void PairView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    m_now = m_environment.clock();
    if (!event->spontaneous()) {
        const auto configured = m_daemon.config().relayURL();
        m_relayURL =
            configured ? QString::fromStdString(*configured) : m_environment.defaultRelayURL;
        m_panel->setRelayURL(m_relayURL);
    }
    m_tick = m_environment.scheduler.every(tickInterval, [this] {
        m_now = m_environment.clock();
        redraw();
    });
    redraw();
    fit();
}

void PairView::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    m_tick.reset();
    if (event->spontaneous())
        return; // It is only out of sight.
    if (m_poll) {
        pollTestPush();
        m_poll.reset();
    }
    m_revealLink = false;
    dismiss();
}

// What it does.

void PairView::createRelay() {
    try {
        const RelayConfig fresh = Config::freshRelayConfig(m_relayURL.toStdString());
        m_daemon.updateConfig([fresh](Config& config) { config.setRelay(fresh); });
    } catch (const std::exception& error) {
        m_daemon.log(std::string("tamsell: cannot set the relay up: ") + error.what());
    }
    redraw();
}

void PairView::newCode() {
    m_daemon.renewInvite();
    m_now = m_environment.clock();
    redraw();
}

void PairView::copyLink() {
    if (const auto code = state().code)
        QGuiApplication::clipboard()->setText(code->link);
}

void PairView::askToRemove(const QString& id) {
    const auto relay = m_daemon.config().relay();
    if (!relay)
        return;
    const auto device = std::ranges::find(relay->devices, id.toStdString(), &PairedDevice::id);
    if (device != relay->devices.end())
        m_removing = *device;
    redraw();
}

void PairView::confirm() {
    if (m_removing)
        m_daemon.removeDevice(m_removing->id);
    else if (m_confirmReset)
        m_daemon.resetRelay();
    dismiss();
}

void PairView::dismiss() {
    m_removing.reset();
    m_confirmReset = false;
    m_panel->show(state());
}

void PairView::testPush() {
    m_testResult = PairState::tr("傳送中…");
    m_sentAt = m_environment.clock();
    m_daemon.testPush();
    m_poll = m_environment.scheduler.after(pollInterval, [this] { pollTestPush(); });
    redraw();
}

void PairView::pollTestPush() {
    if (const auto result = m_daemon.testPushResult(m_sentAt)) {
        m_poll.reset();
        m_testResult = QString::fromStdString(result->text);
        if (isVisible())
            redraw();
        return;
    }
    m_poll = m_environment.scheduler.after(pollInterval, [this] { pollTestPush(); });
}
