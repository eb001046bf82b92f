#include <array>
#include <stdexcept>
#include <thread>

#include "BareDesktop.h"
#include "Events.h"
#include "Loopback.h"
#include "Memory.h"
#include "Report.h"
#include "Runs.h"
#include "ScratchDaemon.h"
#include "Sections.h"
#include "Statistics.h"

namespace bench {

namespace {

using namespace std::chrono_literals;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr double megabyte = 1024 * 1024;

Command emptyTray(const BareDesktop& desktop) {
    return {.arguments = {TAMSELL_BENCH_BIN "/empty-tray"},
            .environment = desktop.environment(),
            .inherits = Command::Inherits::nothing};
}

// Until its icon has come.
double startOnce(BareDesktop& desktop, const Command& command) {
    const auto before = std::chrono::steady_clock::now();
    const Process process(command);
    return Milliseconds(desktop.tray().awaitItem().registered - before).count();
}

void measureStart(BareDesktop& desktop) {
    constexpr int rounds = 15;
    const ScratchDirectory directory;
    const Command empty = emptyTray(desktop);
    const Command program =
        launchOn(desktop, directory, loopback::freePort(), "off", Interface::present);
    // The first start of all reads the libraries, and makes the data directory.
    startOnce(desktop, empty);
    startOnce(desktop, program);
    std::vector<double> ofEmpty;
    std::vector<double> ofProgram;
    for (int i = 0; i < rounds; ++i) {
        ofEmpty.push_back(startOnce(desktop, empty));
        ofProgram.push_back(startOnce(desktop, program));
    }
    print({"start to tray icon, vs an empty tray program", median(ofProgram), median(ofEmpty), "ms",
           2.0});
}

struct Memory {
    double proportional;
    double resident;

    explicit Memory(const Process& process)
        : proportional(proportionalBytes(process.id()) / megabyte),
          resident(residentBytes(process.id()) / megabyte) {}
};

Memory memoryOfEmptyTray(BareDesktop& desktop) {
    const Process process(emptyTray(desktop));
    desktop.tray().awaitItem();
    std::this_thread::sleep_for(1s);
    return Memory(process);
}

double wakeUps(const Process& process) {
    constexpr auto watched = 20s;
    const auto before = voluntarySwitches(process.id());
    std::this_thread::sleep_for(watched);
    return static_cast<double>(voluntarySwitches(process.id()) - before);
}

// The desktop program with its icon, whose panel opens and closes.
class Program {
  public:
    Program(BareDesktop& desktop, const std::string& mode)
        : m_desktop(desktop),
          m_daemon(mode, desktop, Interface::present),
          m_item(desktop.tray().awaitItem()) {}

    [[nodiscard]] const ScratchDaemon& daemon() const { return m_daemon; }
    [[nodiscard]] const Process& process() const { return m_daemon.process(); }
    void open() {
        m_desktop.tray().activate(m_item);
        m_desktop.awaitWindow();
        m_daemon.settle();
    }
    void close() {
        m_desktop.tray().activate(m_item);
        m_desktop.awaitNoWindow();
        m_daemon.settle();
    }

  private:
    BareDesktop& m_desktop;
    ScratchDaemon m_daemon;
    StatusNotifierHost::Item m_item;
};

// One after the other: what runs at the same time would share libraries.
void measureAtRest(BareDesktop& desktop) {
    // A tick wakes it, and so may the answer of the display, which it asks for the idle time in
    // mode auto.
    constexpr double wakeUpsOfTicks = 2 * 10;
    const Memory empty = memoryOfEmptyTray(desktop);
    const double headlessWakeUps = [&] {
        const ScratchDaemon headless("auto", desktop, Interface::absent);
        headless.settle();
        return wakeUps(headless.process());
    }();
    Program program(desktop, "auto");
    program.daemon().settle();
    const Memory neverOpened(program.process());
    const double closedWakeUps = wakeUps(program.process());
    program.open();
    const Memory open(program.process());
    const double openWakeUps = wakeUps(program.process());
    program.close();
    const Memory closed(program.process());

    const auto line = [&](const std::string& name, const Memory& memory, double budget) {
        print({name + ", memory (PSS), vs an empty tray", memory.proportional, empty.proportional,
               "MB", budget});
        print({"  if it shared no library with anybody (RSS)", memory.resident, empty.resident,
               "MB"});
    };
    line("panel never opened", neverOpened, 2.0);
    line("panel open", open, 3.0);
    line("panel closed again", closed, 3.0);
    print({"desktop program, wake-ups in 20 s, vs two a tick", closedWakeUps, wakeUpsOfTicks, "",
           1.1});
    print({"the same with its panel open", openWakeUps, wakeUpsOfTicks, "", 1.1});
    print({"  the headless daemon on the same desktop", headlessWakeUps, wakeUpsOfTicks, ""});
}

// Hooks of eight agents by turns, so that the list of sessions is another one after each event.
class Hooks {
  public:
    explicit Hooks(const ScratchDaemon& daemon)
        : m_daemon(daemon),
          m_runs{{.arguments = {TAMSELL_BIN "/tamsell-hook"},
                  .environment = {{"TAMSELL_HOME", daemon.home()}}}} {
        for (std::size_t i = 0; i < m_events.size(); ++i) {
            const std::string number = std::to_string(i);
            m_events[i] = m_directory.write(
                "event" + number, events::toolUse("session-" + number, "orchard-" + number));
        }
    }

    void run(int count) {
        for (int i = 0; i < count; ++i) {
            m_runs.command.input = m_events[m_next++ % m_events.size()];
            runOnce(m_runs);
        }
    }
    void clear() { m_runs.elapsed.clear(); }
    [[nodiscard]] const std::vector<double>& elapsed() const { return m_runs.elapsed; }
    /// A hook that does not reach the daemon ends early, and without a word.
    void check(int before) const {
        if (m_daemon.loggedEvents() - before != static_cast<int>(m_next))
            throw std::runtime_error("not every run of the hook reached the daemon");
    }

  private:
    const ScratchDaemon& m_daemon;
    ScratchDirectory m_directory;
    std::array<std::filesystem::path, 8> m_events;
    std::size_t m_next = 0;
    Runs m_runs;
};

// In blocks, so that what one does after its events does not slow the other down.
void compareHooks(const std::string& name, Hooks& hooks, Hooks& reference) {
    constexpr int blocks = 20;
    constexpr int inABlock = 50;
    constexpr auto pause = 100ms;
    hooks.clear();
    reference.clear();
    for (int i = 0; i < blocks; ++i) {
        for (Hooks* each : {&reference, &hooks}) {
            each->run(inABlock);
            std::this_thread::sleep_for(pause);
        }
    }
    print({name + ", vs a headless daemon", median(hooks.elapsed()), median(reference.elapsed()),
           "ms", 1.3});
    print({"  of a hundred, the fifth slowest", quantile(hooks.elapsed(), 0.95),
           quantile(reference.elapsed(), 0.95), "ms"});
}

// That events come to be seen, and so have been painted.
void checkPanelShows(const BareDesktop& desktop, Hooks& hooks) {
    const auto before = desktop.picture();
    hooks.run(1);
    for (int i = 0; i < 20; ++i) {
        std::this_thread::sleep_for(100ms);
        if (desktop.picture() != before)
            return;
    }
    throw std::runtime_error("the panel does not show what the hooks have done");
}

// Ten long questions, on connections that stay.
std::vector<Descriptor> ask(const ScratchDaemon& daemon) {
    constexpr int questions = 10;
    constexpr int lines = 20;
    std::string command;
    for (int i = 0; i < lines; ++i)
        command += "ninja -C build planner_test && build/tests/planner_test --repeat 100 &&\\n";
    std::vector<Descriptor> connections;
    for (int i = 0; i < questions; ++i) {
        connections.push_back(loopback::connect(daemon.port()));
        loopback::sendAll(
            connections.back(),
            events::post(daemon.port(),
                         events::question("asking-" + std::to_string(i), command + "true")));
    }
    daemon.settle();
    return connections;
}

void measureHooks(BareDesktop& desktop) {
    const ScratchDaemon headless("off", desktop, Interface::absent);
    Program program(desktop, "off");
    Hooks reference(headless);
    Hooks hooks(program.daemon());
    compareHooks("hook, panel never opened", hooks, reference);
    program.open();
    compareHooks("hook, panel open", hooks, reference);
    checkPanelShows(desktop, hooks);
    hooks.check(0);
    reference.check(0);
}

void measureHooksBesideQuestions(BareDesktop& desktop) {
    const ScratchDaemon headless("on", desktop, Interface::absent);
    Program program(desktop, "on");
    const auto heldByHeadless = ask(headless);
    const auto held = ask(program.daemon());
    const int asked = program.daemon().loggedEvents();
    Hooks reference(headless);
    Hooks hooks(program.daemon());
    program.open();
    compareHooks("hook, panel open with 10 long questions", hooks, reference);
    hooks.check(asked);
    reference.check(asked);
}

} // namespace

void measureDesktop() {
    BareDesktop desktop;
    measureStart(desktop);
    measureAtRest(desktop);
    measureHooks(desktop);
    measureHooksBesideQuestions(desktop);
}

} // namespace bench
