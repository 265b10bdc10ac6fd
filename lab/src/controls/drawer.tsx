import type { ComponentChildren } from "preact";

interface DrawerProps {
  title: string;
  note?: string;
  isOpen?: boolean;
  children: ComponentChildren;
}

export function Drawer({ title, note, isOpen, children }: DrawerProps) {
  return (
    <details class="drawer" open={isOpen ?? false}>
      <summary>
        <span>{title}</span>
        {note && <span class="faint small">{note}</span>}
      </summary>
      <div class="drawer-content">{children}</div>
    </details>
  );
}
