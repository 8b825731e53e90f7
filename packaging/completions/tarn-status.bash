# Completion of tarn-status for bash; needs nothing of the package bash-completion. Installed as
# share/bash-completion/completions/tarn-status.
_tarn_status() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]:-}
    # "=" is a word of its own in bash: --format=csv is three.
    if [[ $word == = ]]; then
        word=
    elif [[ $before == = ]]; then
        before=${COMP_WORDS[COMP_CWORD - 2]:-}
    fi
    COMPREPLY=()
    case $before in
    -F | --format)
        mapfile -t COMPREPLY < <(compgen -W 'table brief json csv prometheus nagios' -- "$word")
        return ;;
    -l | --list | --save | --plot)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        return ;;
    --check-config)
        if [[ ${COMP_WORDS[COMP_CWORD - 1]} == = || ${COMP_WORDS[COMP_CWORD]} == = ]]; then
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$word")
            return
        fi ;;
    -f | --find | -t | --timeout | --community | --port | --user | --keep | --since)
        return ;;
    --on-change)
        mapfile -t COMPREPLY < <(compgen -c -- "$word")
        return ;;
    -e | --explain)
        mapfile -t COMPREPLY < <(compgen -A hostname -- "$word")
        return ;;
    --snmp)
        mapfile -t COMPREPLY < <(compgen -W '1 2c 3' -- "$word")
        return ;;
    -W | --warning | -C | --critical)
        compopt -o nospace 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -W 'toner= age= state=offline state=attention state=none' -- "$word")
        return ;;
    esac
    if [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W '--list --find --save --usb --cups --format --json --watch --on-change --timeout
            --warning --critical --explain --community --port --snmp --user --record --keep --history --since --plot
            --forecast --check-config --help --version' -- "$word")
    else
        mapfile -t COMPREPLY < <(compgen -A hostname -- "$word")
    fi
}
complete -F _tarn_status tarn-status
