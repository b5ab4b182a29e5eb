#!/usr/bin/env bash
# web.sh [build]: builds the page, build/web/calibmap.html, checks the format of its sources, and drives it in
# Chromium and Firefox beside the native library and its program. With build it only builds.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

need "${BUILD_PACKAGES[@]}" "${PAGE_PACKAGES[@]}"
build web
[ "${1:-}" != build ] || exit 0

need "${TOOL_PACKAGES[@]}" "${TEST_PACKAGES[@]}" "${BROWSER_PACKAGES[@]}"
command -v npm >/dev/null || need nodejs npm
echo "installing: the packages of web/package-lock.json, into web/node_modules"
npm ci --prefix web --ignore-scripts --no-audit --no-fund --loglevel=error
npm run --prefix web --silent format
npm run --prefix web --silent lint

build release calibmap-tool drawing_record
# The distribution's interpreter: it is the one that knows the distribution's packages.
/usr/bin/python3 web/tests/browser_test.py build/web build/release
