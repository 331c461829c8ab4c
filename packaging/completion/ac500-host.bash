# Completion of ac500-host for bash: commands and options as its help has them, tags out of the symbol file, files.

# Prints the long options of a command's help; with a third argument, those that take a value.
_ac500_host_options() {
    local value=''
    [ -z "${3:-}" ] || value=' [A-Z]'
    local -a command
    read -ra command <<<"$2"
    "$1" "${command[@]}" --help 2>/dev/null | sed -nE "s/^ +(-h,)?(--[a-z-]+)$value.*/\\2/p"
}

# Of the program, and of the command when there is one yet.
_ac500_host_all_options() {
    _ac500_host_options "$1" '' "${3:-}"
    [ -z "$2" ] || _ac500_host_options "$1" "$2" "${3:-}"
}

_ac500_host_commands() {
    "$1" --help 2>/dev/null | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]\+\) .*/\1/p'
}

# Offers files; with a second argument, that in front of each.
_ac500_host_files() {
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen ${2:+-P "$2"} -f -- "$1")
}

# Words are as they were typed: quotes and backslashes are taken off, a tilde is the home directory.
_ac500_host_typed() {
    local word=${1//[\"\'\\]/}
    printf '%s' "${word/#\~/$HOME}"
}

# Offers tags that begin so; behind them stands what tells where tags are.
_ac500_host_tags() {
    local program=$1 current
    current=$(_ac500_host_typed "$2")
    shift 2
    mapfile -t COMPREPLY < <("$program" "$@" tags --names "$current**" 2>/dev/null)
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
            --symbols | --config | --via)
                value=${COMP_WORDS[i + 1]:-}
                [ "$value" != = ] || value=${COMP_WORDS[i + 2]:-}
                given+=("$word" "$(_ac500_host_typed "$value")")
                ;;
            --simulator) given+=("$word") ;;
            show | learn) [[ $command != audit && $command != guard ]] || command="$command $word" ;;
            import | export | diff) [ "$command" != symbols ] || command="symbols $word" ;;
            *)
                # What was on a panel is in the first file of a comparison.
                if [[ $command = 'symbols diff' && $word != -* && ${COMP_WORDS[i - 1]} = diff ]]; then
                    given+=(--symbols "$(_ac500_host_typed "$word")")
                elif [ -z "$command" ] && grep -qxF -e "$word" <<<"$commands"; then
                    command=$word
                fi
                ;;
        esac
    done

    local option=${COMP_WORDS[COMP_CWORD - 1]}
    if [ "$option" = = ] && [ "$COMP_CWORD" -ge 2 ]; then option=${COMP_WORDS[COMP_CWORD - 2]}; fi
    [ "$current" != = ] || current=''
    if [[ $option = --* ]] && grep -qxF -e "$option" < <(_ac500_host_all_options "$program" "$command" value); then
        case $option in
            --log-level) mapfile -t COMPREPLY < <(compgen -W 'debug info warning error' -- "$current") ;;
            --log-format) mapfile -t COMPREPLY < <(compgen -W 'text json' -- "$current") ;;
            --symbols | --config | --via | --driver | --also | --svg | --expect | --audit | --handshake | --bundle | --pcap | --shrink | --make-test | --record | --record-ring | --record-save) _ac500_host_files "$current" ;;
            --writes | --when | --record-when | --tags)
                if [[ $current = @* && $option != *when ]]; then
                    _ac500_host_files "${current#@}" @
                else
                    _ac500_host_tags "$program" "$current" "${given[@]}"
                fi
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
            _ac500_host_files "${current#@}" @
            return
            ;;
    esac
    case $command in
        '') mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$current") ;;
        read | write | watch | tags | status | check | plan | doctor)
            _ac500_host_tags "$program" "$current" "${given[@]}"
            if [ "$command" = write ]; then
                compopt -o nospace 2>/dev/null
                COMPREPLY=("${COMPREPLY[@]/%/=}")
            fi
            ;;
        explain)
            mapfile -t COMPREPLY < <(compgen -W 'status resolution plc exit sim-exit callback check outcome write state record' -- "$current")
            ;;
        audit*)
            if [ "$option" = audit ]; then
                mapfile -t COMPREPLY < <(compgen -W show -- "$current")
            else
                _ac500_host_files "$current"
            fi
            ;;
        guard*)
            if [ "$option" = guard ]; then
                mapfile -t COMPREPLY < <(compgen -W "learn show" -- "$current")
            else
                _ac500_host_files "$current"
            fi
            ;;
        undo) _ac500_host_files "$current" ;;
        symbols*)
            if [ "$option" = symbols ]; then
                mapfile -t COMPREPLY < <(compgen -W "import export diff" -- "$current")
            else
                _ac500_host_files "$current"
            fi
            ;;
        *)
            _ac500_host_files "$current"
            ;;
    esac
}

complete -F _ac500_host ac500-host
