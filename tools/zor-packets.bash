# Completion of zor-packets in bash. Options are those that the help of a sub-command lists.
_zor_packets() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} tool=$1 command=${COMP_WORDS[1]}
    COMPREPLY=()
    if [ "$COMP_CWORD" -eq 1 ]; then
        local words
        words=$("$tool" --help 2>/dev/null | sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z]*\) .*/\1/p')
        case $word in
        -*) words="--help --version" ;;
        esac
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
        return
    fi
    local values=
    case $previous in
    --format) values="pcap pcapng hex raw lines" ;;
    --diagram) values="rfc svg" ;;
    --color) values="auto always never" ;;
    --progress) values="auto never" ;;
    --link) values="ethernet ip" ;;
    esac
    if [ -n "$values" ]; then
        mapfile -t COMPREPLY < <(compgen -W "$values" -- "$word")
    elif [ "${word:0:1}" = - ]; then
        mapfile -t COMPREPLY < <(compgen -W "$("$tool" "$command" --help 2>/dev/null |
            sed -n 's/^  \(-[^ ]*\).*/\1/p' | tr ',' '\n')" -- "$word")
    else
        compopt -o default 2>/dev/null # names of files
    fi
}
complete -F _zor_packets zor-packets
