#!/usr/bin/env bash
# ten_machines.sh PLAN URL: a fleet over the machines load-1 to load-10, each of which has pellion, and a master here,
# which has Locust. Its page is at http://localhost:8089; an interrupt ends the master, which ends the workers.
set -euo pipefail
plan=$1 url=$2
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
server=${url#*://}
server=${server%%[:/]*}
master=$(hostname -f)

for number in {1..10}; do
  scp -q "$plan" "load-$number:fleet.json"
  ssh "load-$number" "ulimit -n 65536; nohup pellion fleet fleet.json --master $master \
    --yes-this-is-my-server $server --json figures.json > fleet.log 2>&1 &"
done
PELLION_PLAN=$plan locust -f "$here/locustfile.py" --master --expect-workers 10 --host "$url" --html report.html
