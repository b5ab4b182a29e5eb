#!/usr/bin/env bash
# reproducible.sh: whoever builds these sources, wherever and whenever, gets the same bytes: makes the
# packages, the page, the wheel and the source archive here and in a copy of the tree at another place,
# at another time and with other permissions, and compares them.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

need "${BUILD_PACKAGES[@]}" git python3-minimal diffutils

# makeAll RESULTS: everything that is handed out, in one folder.
makeAll() {
    {
        scripts/package.sh build &&
            PYTHONPATH=python /usr/bin/python3 -B -c "import build_wheel; build_wheel.build_wheel('$1')"
    } >"$work/log" 2>&1 || {
        cat "$work/log"
        return 1
    }
    cp build/package/*.{deb,dsc,tar.?z,cdx.json} build/package/*/build/web/calibmap.html "$1"
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
other=$work/another-place-with-a-longer-name
mkdir -p "$work/first" "$work/second" "$other"
git ls-files -z | xargs -0 cp --parents -t "$other"
git -C "$other" init -q
git -C "$other" add .
makeAll "$work/first"
umask 027
cd "$other"
makeAll "$work/second"
diff -r "$work/first" "$work/second"
echo "$(find "$work/first" -type f | wc -l) files made twice are the same bytes"
