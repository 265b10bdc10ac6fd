"""The master's side of a fleet over several machines: one user class of Locust for each kind of phones of a plan.

    PELLION_PLAN=morning.json locust -f locustfile.py --master
    pellion fleet morning.json --master HOST        # on each machine

The environment variable PELLION_PLAN names the plan; without it, it is morning.json beside this file. The class of the
kind "open application" is OpenApplication: letters and digits of ASCII stay, each word begins with a capital. Its
weight is the kind's. A file that imports this one may add a load shape.
"""

import json
import os
import re
from pathlib import Path

from locust import User, task

PLAN = Path(os.environ.get("PELLION_PLAN") or Path(__file__).resolve().parent / "morning.json")


def read_plan(path):
    """The plan as pellion reads it: JSON with comments and with a comma after the last entry."""
    text = path.read_text(encoding="utf-8-sig")
    string = r'"(?:\\.|[^"\\])*"'
    text = re.sub(rf"({string})|//[^\n]*|/\*.*?\*/", lambda match: match[1] or " ", text, flags=re.S)
    text = re.sub(rf"({string})|,(?=\s*[]}}])", lambda match: match[1] or "", text, flags=re.S)
    return json.loads(text)


def class_name(kind):
    words = re.findall(r"[0-9]+|[A-Za-z]+", kind)
    return "".join(word[:1].upper() + word[1:] for word in words)


class Phone(User):
    """What all kinds have in common. The phones themselves live in pellion, so a worker of Locust's own has none."""

    abstract = True

    @task
    def live(self):
        raise RuntimeError("phones live in `pellion fleet PLAN --master HOST`; end this worker of Locust's own")


for each in read_plan(PLAN)["kinds"]:
    name = class_name(each["name"])
    globals()[name] = type(name, (Phone,), {"weight": each.get("weight", 1), "__module__": __name__})
