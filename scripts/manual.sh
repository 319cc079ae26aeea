#!/usr/bin/env bash
# Sets up and builds the manual in HTML: guides, formats, and the reference of every public class.
# Fails on a dead link.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh manual
cmake --preset demo >/dev/null
cmake --build --preset demo --target docs
tests/docs/site.py build/demo/docs/html
echo "manual: build/demo/docs/html/index.html"
