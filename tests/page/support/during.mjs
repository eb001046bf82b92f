/** Does something with what ends as it would with a test. */
export async function during(action) {
  const endings = [];
  try {
    await action({ after: (ending) => endings.push(ending) });
  } finally {
    for (const ending of endings) await ending();
  }
}
