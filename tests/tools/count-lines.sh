#!/usr/bin/env bash
# Lines of code in the tests (tests/ and fuzz/, seed corpora left out)
# against everything else, with the tests' share, as cloc counts them in the
# files git tracks. Installs cloc when it is missing.
set -euo pipefail
cd "$(dirname "$0")/../.."
command -v cloc >/dev/null || scripts/install-deps.sh cloc >/dev/null
count() { cloc --quiet --vcs=git --exclude-lang=Markdown,JSON,YAML --csv "$@" | awk -F, '$2=="SUM"{print $5}'; }
tests=$(count --exclude-dir=corpus tests fuzz)
rest=$(count --exclude-dir=tests,fuzz .)
echo "tests: $tests lines; everything else: $rest lines; tests' share: $((100 * tests / (tests + rest)))%"
