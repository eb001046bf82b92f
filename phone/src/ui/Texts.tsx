/** Texts from outside: only ever text nodes, with their hidden characters marked. */
import { beginning } from "../../../resources/page/dom.js";
import { piecesOf, visibleText } from "../../../resources/page/visible.js";

export function Shown({ text }: { text: string }) {
  return (
    <>
      {piecesOf(text).map((piece, index) =>
        "mark" in piece ? (
          <span class="mark" key={index}>
            {piece.mark}
          </span>
        ) : (
          piece.text
        ),
      )}
    </>
  );
}

/** One line, elided where it ends; line breaks show as "↵". */
export function Line({ text, kind = "" }: { text: string; kind?: string }) {
  const start = beginning(text);
  return (
    <span class={`line outside ${kind}`} title={visibleText(start)} dir="ltr">
      {start.split(/\r?\n/).map((segment, index) => (
        <>
          {index > 0 && <span class="break">↵</span>}
          <Shown text={segment} />
        </>
      ))}
    </span>
  );
}
