/**
 * What an item asks, in the form in which a person reads it. Everything in the agent's input is in
 * it: what no readable form shows stands at the end as JSON.
 *
 * @typedef {{kind: "code", label: string, lines: string[], signs?: string[]}} CodeBlock
 *     Monospaced lines. With `signs` a diff: " ", "-" or "+" for each line.
 * @typedef {{kind: "prose", label: string, lines: string[]}} ProseBlock  What an agent wrote for people.
 * @typedef {{kind: "note", text: string}} NoteBlock  Said by this page about what follows or precedes.
 * @typedef {{kind: "option", text: string, description: string}} OptionBlock  One of a question's answers.
 * @typedef {CodeBlock | ProseBlock | NoteBlock | OptionBlock} Block
 * @typedef {{blocks: Block[], claim: string, isCommand: boolean}} View
 *     `claim` is the agent's own description, perhaps empty: not a fact, so it is no block.
 */
import { diffLines, linesOf, pairLimit } from "./diff.js";
import { ExactNumber } from "./numbers.js";

// Two blanks a level are 80 columns by then, about as many as a box has.
const indentedDepth = 40;

/**
 * @param {{kind: string, tool?: string, input?: unknown, lastMessage?: string}} item  a pending item
 * @returns {View}
 */
export function viewOf(item) {
  if (item.kind !== "permission") {
    const blocks = item.lastMessage ? [prose("最後的訊息", item.lastMessage)] : [note("agent 沒有留下訊息。")];
    return { blocks, claim: "", isCommand: false };
  }
  const input = /** @type {any} */ (item.input);
  if (!isObject(input)) {
    const blocks = input === undefined || input === null ? [note("agent 沒有說要做什麼。")] : [json("內容", input)];
    return { blocks, claim: "", isCommand: false };
  }
  const reader = new Reader(input);
  const blocks = readableBlocks(reader, item.tool);
  const isCommand = typeof input.command === "string";
  // Beside a command it says what that is for; elsewhere it is what is asked.
  const claim = (isCommand ? reader.text("description") : undefined) ?? "";
  const rest = reader.rest();
  if (rest) {
    if (blocks.length > 0) blocks.push(note("其他："));
    blocks.push(json("其他", rest));
  } else if (blocks.length === 0) {
    blocks.push(json("內容", {}));
  }
  return { blocks, claim, isCommand };
}

/** The texts of a block without its label, line by line. @param {Block} block */
export function textsOf(block) {
  if (block.kind === "note") return [block.text];
  if (block.kind === "option") return [block.text, block.description];
  return block.lines;
}

// Hands out the members of an input and keeps in mind which have been.
class Reader {
  #input;
  #taken = new Set();

  constructor(input) {
    this.#input = input;
  }

  has(...names) {
    return names.every((name) => typeof this.#input[name] === "string");
  }
  text(name) {
    return this.#take(name, (value) => typeof value === "string");
  }
  list(name) {
    return this.#take(name, Array.isArray);
  }
  // A member that says nothing when it is false.
  flag(name) {
    return this.#take(name, (value) => typeof value === "boolean");
  }
  rest() {
    const left = Object.entries(this.#input).filter(([name]) => !this.#taken.has(name));
    return left.length > 0 ? Object.fromEntries(left) : undefined;
  }

  #take(name, fits) {
    if (!Object.hasOwn(this.#input, name) || !fits(this.#input[name])) return undefined;
    this.#taken.add(name);
    return this.#input[name];
  }
}

function readableBlocks(reader, tool) {
  const blocks = [];
  const command = reader.text("command");
  if (command !== undefined) blocks.push(tool === "apply_patch" ? patch(command) : code("指令", command));
  const path = reader.text("file_path");
  if (path !== undefined) blocks.push(code("檔案", path));
  if (reader.has("old_string", "new_string"))
    blocks.push(
      ...edit(reader.text("old_string"), reader.text("new_string"), reader.flag("replace_all") ? "全部取代：" : ""),
    );
  const edits = reader.list("edits") ?? [];
  for (const change of edits) {
    if (!isEdit(change)) blocks.push(json("修改", change));
    else
      blocks.push(
        ...edit(
          change.old_string,
          change.new_string,
          change.replace_all ? "全部取代：" : "取代一處：",
          pairLimit / edits.length,
        ),
      );
  }
  const content = reader.text("content");
  if (content !== undefined) blocks.push(code("檔案的全部內容", content));
  const plan = reader.text("plan");
  if (plan !== undefined) blocks.push(prose("計畫", plan));
  const questions = reader.list("questions");
  for (const entry of questions ?? []) for (const block of question(entry)) blocks.push(block);
  if (questions) blocks.push(note("這裡不能選；可以拒絕，並把你的選擇寫在理由裡。"));
  return blocks;
}

function isEdit(change) {
  return (
    hasOnly(change, ["old_string", "new_string", "replace_all"]) &&
    typeof change.old_string === "string" &&
    typeof change.new_string === "string" &&
    ["boolean", "undefined"].includes(typeof change.replace_all)
  );
}

function edit(before, after, heading, limit = pairLimit) {
  const lines = diffLines(before, after, limit);
  /** @type {Block[]} */
  const blocks = heading ? [note(heading)] : [];
  if (lines.length === 0) return [...blocks, empty()];
  blocks.push({
    kind: "code",
    label: "修改",
    lines: lines.map((line) => line.text),
    signs: lines.map((line) => line.sign),
  });
  if (before !== "" && after !== "" && before.endsWith("\n") !== after.endsWith("\n"))
    blocks.push(note(after.endsWith("\n") ? "最後多了一個換行。" : "最後少了一個換行，會和下一行連在一起。"));
  return blocks;
}

// A patch has its signs in front of its lines. They move into the gutter, as in a diff; a line without one stays as it
// is, with the blank that it may begin with.
/** @returns {CodeBlock | NoteBlock} */
function patch(text) {
  if (text === "") return empty();
  const lines = linesOf(text);
  const signs = lines.map((line) => (line.startsWith("+") || line.startsWith("-") ? line[0] : " "));
  return {
    kind: "code",
    label: "修補",
    lines: lines.map((line, i) => (signs[i] === " " ? line : line.slice(1))),
    signs,
  };
}

function question(entry) {
  // More in it than its view would show does not hide behind the view.
  if (
    !hasOnly(entry, ["question", "header", "options", "multiSelect"]) ||
    typeof entry.question !== "string" ||
    !["string", "undefined"].includes(typeof entry.header) ||
    !["boolean", "undefined"].includes(typeof entry.multiSelect) ||
    !Array.isArray(entry.options)
  )
    return [json("問題", entry)];
  /** @type {Block[]} */
  const blocks = [prose("問題", entry.header ? `${entry.header}：${entry.question}` : entry.question)];
  if (entry.multiSelect === true) blocks.push(note("可複選"));
  for (const option of entry.options) {
    const isKnown =
      hasOnly(option, ["label", "description"]) &&
      typeof option.label === "string" &&
      ["string", "undefined"].includes(typeof option.description);
    blocks.push(
      isKnown ? { kind: "option", text: option.label, description: option.description ?? "" } : json("選項", option),
    );
  }
  return blocks;
}

/** @returns {CodeBlock | NoteBlock} */
function code(label, text) {
  return text === "" ? empty() : { kind: "code", label, lines: linesOf(text) };
}

/** @returns {ProseBlock | NoteBlock} */
function prose(label, text) {
  return text === "" ? empty() : { kind: "prose", label, lines: linesOf(text) };
}

function empty() {
  return note("（空的）");
}

/** @returns {NoteBlock} */
function note(text) {
  return { kind: "note", text };
}

/** @returns {CodeBlock} */
function json(label, value) {
  return { kind: "code", label, lines: indented(value).split("\n") };
}

/** A value as JSON, indented by two, unless it is so deep that the blanks would be most of it. */
export function indented(value) {
  let level = [value];
  for (let depth = 0; level.length > 0; ++depth) {
    if (depth > indentedDepth) return JSON.stringify(value);
    level = level.flatMap((one) => (isContainer(one) ? Object.values(one) : []));
  }
  return JSON.stringify(value, null, 2);
}

function isContainer(value) {
  return typeof value === "object" && value !== null && !(value instanceof ExactNumber);
}

function isObject(value) {
  return isContainer(value) && !Array.isArray(value);
}

function hasOnly(value, names) {
  return isObject(value) && Object.keys(value).every((name) => names.includes(name));
}
