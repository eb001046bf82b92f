#include "ui/Shots.h"
#include "ui/WindowStates.h"

// Pictures of the window of that name in each of its states, in both themes, into the directory
// given.
int main(int argc, char** argv) {
    const auto shots = [] {
        std::vector<WindowState> states = windowStates();
        std::erase_if(states, [](const WindowState& state) { return state.window != WINDOW; });
        return states;
    };
    return takeShots(argc, argv, WINDOW, shots,
                     [](const WindowState& state) { return state.show()->grab(); });
}
