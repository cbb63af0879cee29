# SPDX-License-Identifier: MIT

# Completes the command line of oxarchive in bash.

_oxarchive() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} words=""
  # bash splits "--level=best" into three words.
  if [[ $word == "=" ]]; then
    word=""
  elif [[ $before == "=" ]]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  local passwords="--password --password-file --password-env"
  local limits="--memory --patience --max-entries --max-size"
  case $before in
    --level) words="fastest normal best" ;;
    --method) words="aes256 aes128 zipcrypt" ;;
    --password-env) words=$(compgen -e) ;;
    --memory | --patience | --max-entries | --max-size) return ;;
    --into) mapfile -t COMPREPLY < <(compgen -d -- "$word") ;;
    --password-file) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
    *)
      if [[ $COMP_CWORD == 1 ]]; then
        words="extract list create --help --version"
      elif [[ $word != -* ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
      else
        case ${COMP_WORDS[1]} in
          extract) words="--into --trash $passwords $limits" ;;
          list) words="--long --cbor $passwords $limits" ;;
          create) words="--level --method $passwords" ;;
        esac
      fi
      ;;
  esac
  if [[ -n $words ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
  else
    compopt -o filenames 2>/dev/null
  fi
}

complete -F _oxarchive oxarchive
