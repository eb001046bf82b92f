const endings = new WeakMap();

/**
 * Runs the action when the test ends, the last deferred first, and each of them even when another one fails. A failure
 * fails the test.
 * @param t the test's context, or whatever else has an after(action)
 */
export function defer(t, action) {
  let actions = endings.get(t);
  if (!actions) {
    actions = [];
    endings.set(t, actions);
    // The runner's own order is that of registration, which would stop the daemon under the page.
    t.after(() => end(actions));
  }
  actions.push(action);
}

async function end(actions) {
  const failures = [];
  while (actions.length > 0) {
    try {
      await actions.pop()();
    } catch (failure) {
      failures.push(failure);
    }
  }
  if (failures.length === 1) throw failures[0];
  if (failures.length > 1) throw new AggregateError(failures, failures.map(String).join("\n"));
}
