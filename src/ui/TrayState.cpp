#include "ui/TrayState.h"

TrayState TrayState::of(const MenuFacts& facts, std::size_t waiting) {
    TrayState state;
    state.waiting = waiting;
    state.menu = MenuState::of(facts);
    state.toolTip = state.menu.status;
    if (waiting > 0)
        state.toolTip += QLatin1Char('\n') + tr("%1 件事在等你回答").arg(waiting);
    return state;
}
