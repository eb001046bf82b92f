import { Component } from "preact";

/**
 * Where the waiting items stand. Their cards are made and changed by the modules that the computer's own page has, too,
 * which keep everything in its place under the finger; so this is drawn once.
 */
export class Questions extends Component<{ onReady: () => void }> {
  override shouldComponentUpdate() {
    return false;
  }

  override componentDidMount() {
    this.props.onReady();
  }

  render() {
    return (
      <section class="questions" aria-labelledby="waiting-heading">
        <h2 id="waiting-heading" class="unseen" tabIndex={-1}>
          等你回答
        </h2>
        <p class="unseen" aria-live="polite" aria-atomic="true">
          <span id="count" hidden />
          <span id="count-unit" hidden>
            {" "}
            個問題在等你回答
          </span>
        </p>
        <div id="none" class="none" hidden>
          <svg class="icon" viewBox="0 0 20 20" aria-hidden="true">
            <path d="M4.5 10.5 8.25 14.25 15.5 6" />
          </svg>
          <p class="none-title">沒有在等你的事</p>
          <p class="caption">agent 要權限或停下來時，會出現在這裡。</p>
        </div>
        <div id="cards" class="cards" />
        <button id="put-away-all" type="button" class="plain" hidden>
          全部收起
        </button>
      </section>
    );
  }
}
