# Completion of velmore-mail for bash.
_velmore_mail() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command= i
  local account='--url --user --address --profile --ca-file --mailbox --help'
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; ++i)); do
    case ${COMP_WORDS[i]} in
      check | list | read | send | export | import | sync | profile)
        command=${COMP_WORDS[i]}
        break
        ;;
    esac
  done
  case $before in
    --ca-file | --attach)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      return
      ;;
    --attachments)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -d -- "$word")
      return
      ;;
    --folder)
      mapfile -t COMPREPLY < <(compgen -W 'inbox sentitems drafts deleteditems junkemail outbox' -- "$word")
      return
      ;;
    --profile | delete)
      mapfile -t COMPREPLY < <(compgen -W "$(velmore-mail profile list 2>/dev/null)" -- "$word")
      return
      ;;
    --url | --user | --address | --mailbox | --limit | --from | --subject | --since | --before | --category | --larger | --to | --cc | --bcc | --text) return ;;
  esac
  local words
  case $command in
    '') words="check list read send export import sync profile --version $account" ;;
    list) words="--folder --folders --limit --from --subject --since --before --category --larger --unread $account" ;;
    read) words="--folder --headers --raw --attachments --mark $account" ;;
    send) words="--to --cc --bcc --subject --text --html --attach $account" ;;
    export | import | sync)
      words="--folder --progress --no-progress $account"
      if [[ $word != -* ]]; then
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -d -- "$word")
        return
      fi
      ;;
    profile) words="save list delete $account" ;;
    *) words=$account ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -F _velmore_mail velmore-mail
