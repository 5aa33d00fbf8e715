# Completion of lcfwdctl for bash: source this file, or install it as bash-completion's completions/lcfwdctl.
_lcfwdctl() {
    local current=${COMP_WORDS[COMP_CWORD]}
    if [[ $current == --* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$("${COMP_WORDS[0]}" "${COMP_WORDS[1]:-help}" --help 2>/dev/null |
            grep -oE '^  --[a-z-]+' | sort -u)" -- "$current")
        return
    fi
    mapfile -t COMPREPLY < <(compgen -W "$("${COMP_WORDS[0]}" complete -- "${COMP_WORDS[@]:1:COMP_CWORD-1}" 2>/dev/null)" \
        -- "$current")
}
complete -o default -F _lcfwdctl lcfwdctl
