#!/usr/bin/env bash
# The main job: builds the project and runs the development host with the
# module loaded, on its built-in default node. Arguments go to pshost.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh
exec build/pshost "$@"
