import { Component, type ComponentChildren, type FunctionComponent, h } from "preact";

/** The component, drawn anew only if one of its properties changes. */
export function memo<Props extends object>(Drawn: FunctionComponent<Props>) {
  return class Memo extends Component<Props> {
    override shouldComponentUpdate(next: Readonly<Props>): boolean {
      const keys = Object.keys(next) as (keyof Props)[];
      return keys.some((key) => next[key] !== this.props[key as never]);
    }
    override render(): ComponentChildren {
      return h(Drawn as FunctionComponent<object>, this.props);
    }
  };
}
