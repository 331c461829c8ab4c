# Completion of ac500-host for bash: commands and options as its help has them, tags out of the symbol file, files.

# Prints the long options of a command's help; with a third argument, those that take a value.
_ac500_host_options() {
    local value=''
    [ -z "${3:-}" ] || value=' [A-Z]'
    "$1" ${2:+"$2"} --help 2>/dev/null | sed -nE "s/^ +(-h,)?(--[a-z-]+)$value.*/\\2/p"
}

# Of the program, and of the command when there is one yet.
_ac500_host_all_options() {
    _ac500_host_options "$1" '' "${3:-}"
    [ -z "$2" ] || _ac500_host_options "$1" "$2" "${3:-}"
}

_ac500_host_commands() {
    "$1" --help 2>/dev/null | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]\+\) .*/\1/p'
}

# Words are as they were typed: quotes and backslashes are taken off, a tilde is the home directory.
_ac500_host_typed() {
    local word=${1//[\"\'\\]/}
    printf '%s' "${word/#\~/$HOME}"
}

_ac500_host() {
    local program=${COMP_WORDS[0]} current=${COMP_WORDS[COMP_CWORD]} command='' word value i
    local -a given=()
    local commands
    COMPREPLY=()
    commands=$(_ac500_host_commands "$program")
    # What was said before: the command, and what tells where tags are. "--symbols=FILE" is three words.
    for ((i = 1; i < COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        case $word in
            --symbols | --config)
                value=${COMP_WORDS[i + 1]:-}
                [ "$value" != = ] || value=${COMP_WORDS[i + 2]:-}
                given+=("$word" "$(_ac500_host_typed "$value")")
                ;;
            --simulator) given+=("$word") ;;
            *) [ -n "$command" ] || ! grep -qxF -e "$word" <<<"$commands" || command=$word ;;
        esac
    done

    local option=${COMP_WORDS[COMP_CWORD - 1]}
    if [ "$option" = = ] && [ "$COMP_CWORD" -ge 2 ]; then option=${COMP_WORDS[COMP_CWORD - 2]}; fi
    [ "$current" != = ] || current=''
    if [[ $option = --* ]] && grep -qxF -e "$option" < <(_ac500_host_all_options "$program" "$command" value); then
        case $option in
            --symbols | --config | --driver | --also | --svg | --expect)
                compopt -o filenames 2>/dev/null
                mapfile -t COMPREPLY < <(compgen -f -- "$current")
                ;;
        esac
        return
    fi

    case $current in
        -*)
            mapfile -t COMPREPLY < <(compgen -W "$(_ac500_host_all_options "$program" "$command" | sort -u)" -- "$current")
            return
            ;;
        @*)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -P @ -f -- "${current#@}")
            return
            ;;
    esac
    case $command in
        '') mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$current") ;;
        read | write | watch | tags | status | check | plan)
            current=$(_ac500_host_typed "$current")
            mapfile -t COMPREPLY < <("$program" "${given[@]}" tags --names "$current**" 2>/dev/null)
            if [ "$command" = write ]; then
                compopt -o nospace 2>/dev/null
                COMPREPLY=("${COMPREPLY[@]/%/=}")
            fi
            ;;
        symbols)
            if [ "$option" = symbols ]; then
                mapfile -t COMPREPLY < <(compgen -W "import export diff" -- "$current")
            else
                compopt -o filenames 2>/dev/null
                mapfile -t COMPREPLY < <(compgen -f -- "$current")
            fi
            ;;
        *)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            ;;
    esac
}

complete -F _ac500_host ac500-host
