import { render } from "preact";
import { open } from "./keep/opening";
import { App } from "./page/app";
import { deliverByKey, explainAsOneTypes } from "./payload/payload";
import { startView } from "./timeline/view";
import "./style/index.css";

/** Ctrl-Enter or Cmd-Enter delivers, wherever the focus is; an editor does with it what it is for. */
function whenKey(event: KeyboardEvent): void {
  if (event.key !== "Enter" || !(event.ctrlKey || event.metaKey) || event.defaultPrevented) return;
  event.preventDefault();
  void deliverByKey();
}

const page = document.getElementById("page");
if (!page) throw new Error("index.html has no element for the page.");
startView();
explainAsOneTypes();
render(<App />, page);
document.addEventListener("keydown", whenKey);
void open();
