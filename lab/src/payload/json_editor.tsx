// A CodeMirror editor for JSON. Tab moves the focus on, as in any other field.
import { defaultKeymap, history, historyKeymap, isolateHistory } from "@codemirror/commands";
import { jsonLanguage } from "@codemirror/lang-json";
import { bracketMatching, indentOnInput, indentUnit, LanguageSupport, syntaxHighlighting } from "@codemirror/language";
import { nextDiagnostic, previousDiagnostic, setDiagnostics } from "@codemirror/lint";
import { Annotation, Compartment, EditorState, type Extension, Prec } from "@codemirror/state";
import { drawSelection, EditorView, keymap, lineNumbers } from "@codemirror/view";
import { classHighlighter } from "@lezer/highlight";
import { useEffect, useRef } from "preact/hooks";
import { depthOf } from "./json_tokens";
import type { Mark } from "./marks";

interface Props {
  label: string;
  text: string;
  marks?: Mark[];
  isInvalid?: boolean;
  /** The id of the element that says what is wrong; undefined for nothing. */
  describedBy?: string | undefined;
  onText: (text: string) => void;
  onSubmit?: () => void;
  isLarge?: boolean;
  /** A change by the page continues what is typed in another editor; else it is one step of undo. */
  isTyped?: boolean;
  /** Each new number moves the focus here, to the end of what the page has changed last. */
  focusCount?: number;
}

/** Marks a change that the page makes, not the user. */
const fromPage = Annotation.define<boolean>();

const longestHighlighted = 512 * 1024;
const deepestHighlighted = 500;

/** Text that is very long or deep is shown without colours: the parser and the highlighter would take too long. */
const isPlain = (text: string) => text.length > longestHighlighted || depthOf(text) > deepestHighlighted;

function languageFor(text: string): Extension {
  return isPlain(text)
    ? []
    : [new LanguageSupport(jsonLanguage), syntaxHighlighting(classHighlighter), bracketMatching()];
}

/** Over a selection the browser would insert an element with a style, which the content security policy blocks. */
const typingOverSelection = EditorView.domEventHandlers({
  beforeinput({ inputType, data }, view) {
    if (inputType !== "insertText" || data === null || view.state.selection.main.empty) return false;
    view.dispatch(view.state.replaceSelection(data), { userEvent: "input.type", scrollIntoView: true });
    return true;
  },
});

const nonce = () => document.querySelector<HTMLMetaElement>('meta[name="csp-nonce"]')?.content ?? "";

function attributesOf({ label, isInvalid, describedBy }: Props): Record<string, string> {
  const attributes: Record<string, string> = { "aria-label": label, tabindex: "0" };
  if (isInvalid) attributes["aria-invalid"] = "true";
  if (describedBy !== undefined) attributes["aria-describedby"] = describedBy;
  return attributes;
}

function extensionsFor(props: { current: Props }, language: Compartment): Extension[] {
  return [
    EditorView.cspNonce.of(nonce()),
    lineNumbers(),
    history(),
    drawSelection(),
    typingOverSelection,
    indentOnInput(),
    indentUnit.of("  "),
    EditorView.lineWrapping,
    EditorView.contentAttributes.of(() => attributesOf(props.current)),
    Prec.highest(
      keymap.of([
        {
          key: "Mod-Enter",
          run: () => {
            props.current.onSubmit?.();
            return true;
          },
        },
      ]),
    ),
    keymap.of([
      ...defaultKeymap,
      ...historyKeymap,
      { key: "F8", run: nextDiagnostic },
      { key: "Shift-F8", run: previousDiagnostic },
    ]),
    language.of(languageFor(props.current.text)),
    EditorView.updateListener.of((update) => {
      const isFromPage = update.transactions.some((transaction) => transaction.annotation(fromPage));
      if (update.docChanged && !isFromPage) props.current.onText(update.state.doc.toString());
    }),
  ];
}

/**
 * Replaces only what differs, so that the cursor and the scroll position stay where they can. Returns the end of what has
 * changed, or null for no change.
 */
function replaceText(view: EditorView, text: string, isTyped: boolean): number | null {
  const old = view.state.doc.toString();
  if (old === text) return null;
  const most = Math.min(old.length, text.length);
  let start = 0;
  while (start < most && old[start] === text[start]) start += 1;
  let end = 0;
  while (end < most - start && old[old.length - 1 - end] === text[text.length - 1 - end]) end += 1;
  view.dispatch({
    changes: { from: start, to: old.length - end, insert: text.slice(start, text.length - end) },
    annotations: isTyped ? fromPage.of(true) : [fromPage.of(true), isolateHistory.of("full")],
  });
  return text.length - end;
}

function showMarks(view: EditorView, marks: Mark[]): void {
  const end = view.state.doc.length;
  const diagnostics = marks
    .map(({ from, to, level, text }) => ({
      from: Math.min(from, end),
      to: Math.min(to, end),
      severity: level,
      message: text,
    }))
    .sort((one, other) => one.from - other.from);
  view.dispatch(setDiagnostics(view.state, diagnostics));
}

export function JsonEditor(props: Props) {
  const place = useRef<HTMLDivElement>(null);
  const view = useRef<EditorView | null>(null);
  const language = useRef(new Compartment());
  const focusedFor = useRef(props.focusCount);
  const lastChange = useRef(0);
  const wasPlain = useRef(isPlain(props.text));
  const latest = useRef(props);
  latest.current = props;

  useEffect(() => {
    if (!place.current) return;
    const state = EditorState.create({
      doc: latest.current.text,
      extensions: extensionsFor(latest, language.current),
    });
    const editor = new EditorView({ state, parent: place.current });
    view.current = editor;
    return () => editor.destroy();
  }, []);

  useEffect(() => {
    if (!view.current) return;
    const plain = isPlain(props.text);
    if (plain !== wasPlain.current) {
      wasPlain.current = plain;
      view.current.dispatch({ effects: language.current.reconfigure(languageFor(props.text)) });
    }
    lastChange.current = replaceText(view.current, props.text, props.isTyped ?? false) ?? lastChange.current;
  }, [props.text]);

  useEffect(() => {
    if (!view.current || props.focusCount === focusedFor.current) return;
    focusedFor.current = props.focusCount;
    view.current.focus();
    const anchor = Math.min(lastChange.current, view.current.state.doc.length);
    view.current.dispatch({ selection: { anchor }, scrollIntoView: true });
  }, [props.focusCount]);

  useEffect(() => {
    if (view.current) showMarks(view.current, props.marks ?? []);
  }, [props.marks, props.text, props.isInvalid, props.describedBy]);

  return <div class={props.isLarge ? "editor editor-large" : "editor"} ref={place} />;
}
