/** Connects the parts of the page with the daemon's state. */
import { sendAnswer } from "./api.js";
import { Arming } from "./arming.js";
import { part } from "./dom.js";
import { Events } from "./events.js";
import { Header } from "./header.js";
import { Phones } from "./phones.js";
import { ServerClock } from "./serverclock.js";
import { Sessions } from "./sessions.js";
import { Still } from "./still.js";
import { Stream } from "./stream.js";
import { Waiting } from "./waiting.js";

// How often "3 分鐘前" is looked at again.
const agoPeriod = 20_000;

const arming = new Arming(part("cards", HTMLElement));
const still = new Still(part("filler", HTMLElement), () => arming.check());
const clock = new ServerClock();
const header = new Header();
const waiting = new Waiting({
  arming,
  still,
  clock,
  answer: sendAnswer,
  unconfirmed: "已經結束；不確定是不是你的回答",
});
const sessions = new Sessions();
const phones = new Phones({ still, clock });
const events = new Events();

let state;
/** @type {import("./stream.js").Connection} */
let connection = "connecting";

// What one part cannot show keeps nothing else from being shown.
function showAll(...parts) {
  still.during(() => {
    for (const show of parts) {
      try {
        show();
      } catch (error) {
        reportError(error);
        header.showFault();
      }
    }
  });
}

const showSessions = () => sessions.show(state.sessions ?? [], clock.now());
const showEvents = () => events.show(state.recent ?? [], clock.now());

function showTimes() {
  if (state && !document.hidden) showAll(showSessions, showEvents);
}

new Stream(
  (newState) => {
    state = newState;
    clock.hear(state);
    showAll(
      () => header.show(state, connection),
      () => waiting.show(state.pending ?? []),
      showSessions,
      showEvents,
      () => phones.show(state.relay),
    );
  },
  (newConnection) => {
    if (newConnection === connection) return;
    connection = newConnection;
    document.documentElement.classList.toggle("is-offline", connection !== "connected");
    if (connection === "connected") return; // A state follows at once.
    clock.pause();
    phones.forget();
    document.title = "Tamsell"; // How many are waiting is not known.
    showAll(() => header.show(state, connection));
  },
);
setInterval(showTimes, agoPeriod);
document.addEventListener("visibilitychange", showTimes);
