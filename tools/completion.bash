# bash completion for calibmap: commands and options come from its own help.

_calibmap() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local program=${COMP_WORDS[0]} command='' word help words=''
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $word == -* ]] || { command=$word && break; }
    done
    # shellcheck disable=SC2086 # no command, no word
    help=$("$program" $command --help 2>/dev/null) || return 0
    if [[ $previous == --* && $help =~ "$previous "([a-z]+(\|[a-z]+)+) ]]; then
        words=${BASH_REMATCH[1]//|/ }
    elif [[ $current == -* ]]; then
        words=$(grep -o -- '^  -[^ ]*' <<<"$help" | tr ',' ' ')
    elif [[ -z $command ]]; then
        words=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' <<<"$help")
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -o default -F _calibmap calibmap
