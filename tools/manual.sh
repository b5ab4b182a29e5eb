#!/bin/sh
# manual.sh HELP2MAN PROGRAM FOLDER: writes the manual pages from the program's help, one for the
# program and one for each command.
set -eu
help2man=$1 program=$2 folder=$3
mkdir -p "$folder"

descriptions=$("$program" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\)  */\1 /p')
seeAlso=''
while read -r command description; do
    page="calibmap-$command"
    "$help2man" --no-info --version-string="$("$program" --version)" --name="$description" \
        "$program $command" |
        sed -e "/^\.TH/s/CALIBMAP/$(echo "$page" | tr '[:lower:]' '[:upper:]')/" \
            -e "s/^calibmap \\\\-/$page \\\\-/" >"$folder/$page.1"
    printf '.SH "SEE ALSO"\n.BR calibmap (1)\n' >>"$folder/$page.1"
    seeAlso="$seeAlso${seeAlso:+,
}.BR $page (1)"
done <<END
$descriptions
END
"$help2man" --no-info --name='see, check and apply camera calibration files' "$program" \
    >"$folder/calibmap.1"
printf '.SH "SEE ALSO"\n%s\n' "$seeAlso" >>"$folder/calibmap.1"
