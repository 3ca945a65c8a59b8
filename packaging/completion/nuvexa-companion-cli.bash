# bash completion for nuvexa-companion-cli: its commands, each command's options, and for revoke the
# paired phones' names and fingerprints.

_nuvexa_companion_cli() {
    local cur=${COMP_WORDS[COMP_CWORD]}
    local prev=${COMP_WORDS[COMP_CWORD - 1]}
    local commands="pair status devices revoke doctor help"
    COMPREPLY=()
    if ((COMP_CWORD == 1)); then
        mapfile -t COMPREPLY < <(compgen -W "$commands --help --version" -- "$cur")
        return
    fi
    case $prev in
    --authorized-keys | --log-file | --sshd-config)
        mapfile -t COMPREPLY < <(compgen -f -- "$cur")
        return
        ;;
    --port)
        return
        ;;
    esac
    local options
    case ${COMP_WORDS[1]} in
    pair) options="--json --no-announce --authorized-keys --log-file --verbose --no-wait --help" ;;
    status) options="--json --help" ;;
    devices) options="--json --authorized-keys --help" ;;
    revoke) options="--yes --every-line --authorized-keys --help" ;;
    doctor) options="--json --authorized-keys --port --sshd-config --help" ;;
    help)
        if ((COMP_CWORD == 2)); then
            mapfile -t COMPREPLY < <(compgen -W "${commands% help}" -- "$cur")
        fi
        return
        ;;
    *) return ;;
    esac
    if [[ $cur == -* || ${COMP_WORDS[1]} != revoke ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$cur")
        return
    fi
    # The phone to revoke, from the key file the command line names, if any.
    local keys=() i
    for ((i = 2; i < COMP_CWORD; i++)); do
        if [[ ${COMP_WORDS[i]} == --authorized-keys ]]; then
            keys=(--authorized-keys "${COMP_WORDS[i + 1]}")
        fi
    done
    local phones phone
    mapfile -t phones < <(nuvexa-companion-cli devices --names "${keys[@]}" 2>/dev/null)
    for phone in "${phones[@]}"; do
        if [[ $phone == "$cur"* ]]; then
            COMPREPLY+=("$(printf '%q' "$phone")")
        fi
    done
}

complete -F _nuvexa_companion_cli nuvexa-companion-cli
