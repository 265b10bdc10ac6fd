import { Button } from "../controls/button";
import type { Notification } from "../generated/protocol";
import { applicationName } from "../state/head";
import { obstacle, perform, state } from "../state/session";
import { ago } from "./clock";

const respond = (notification: string, choice: string) => perform({ do: "respond", notification, with: choice });

function Responses({ name, buttons }: Pick<Notification, "name" | "buttons">) {
  return (
    <div class="card-buttons">
      <Button
        class="card-button"
        onPress={() => respond(name, "tap")}
        obstacle={obstacle.value}
        label={`Tap ${name}`}
        guide="tap"
      >
        Tap
      </Button>
      {buttons.map(({ action, title: caption }, index) => (
        <Button
          // Two buttons may have the same action: that is a mistake worth seeing.
          key={`${action} ${index}`}
          class="card-button card-button-own"
          onPress={() => respond(name, action)}
          obstacle={obstacle.value}
          label={`Press the button ${caption || action} of ${name}`}
          title={`Action "${action}"`}
        >
          {caption || action}
        </Button>
      ))}
      <Button
        class="card-button"
        onPress={() => respond(name, "dismiss")}
        obstacle={obstacle.value}
        label={`Dismiss ${name}`}
      >
        Dismiss
      </Button>
    </div>
  );
}

export function NotificationCard({ notification }: { notification: Notification }) {
  const { name, title, subtitle, body, buttons, time, shown } = notification;
  const isShown = shown.length > 0;
  return (
    <li class={isShown ? "card" : "card card-unseen"}>
      <Button class="card-main" onPress={() => respond(name, "tap")} obstacle={obstacle.value}>
        <span class="hidden-text">Tap the notification </span>
        <span class="card-head">
          <span class="card-app">{applicationName.value}</span>
          <span class="card-time">{ago((state.value?.time ?? time) - time)}</span>
        </span>
        {title !== "" && <span class="card-title">{title}</span>}
        {subtitle !== "" && <span class="card-subtitle">{subtitle}</span>}
        <span class={body === "" && title === "" ? "card-body faint" : "card-body"}>
          {body === "" && title === "" ? "No text" : body}
        </span>
        <span class="card-name code">
          {name}
          {isShown ? ` · ${shown.join(", ")}` : " · not presented"}
        </span>
      </Button>
      <Responses name={name} buttons={buttons} />
    </li>
  );
}
