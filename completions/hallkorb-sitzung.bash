# bash completion for hallkorb-sitzung                                      -*- shell-script -*-

_hallkorb_sitzung() {
  local wort=${COMP_WORDS[COMP_CWORD]} vorher=${COMP_WORDS[COMP_CWORD - 1]}
  local befehl='' i
  for ((i = 1; i < COMP_CWORD; i++)); do
    if [[ ${COMP_WORDS[i]} != -* ]]; then
      befehl=${COMP_WORDS[i]}
      break
    fi
  done
  COMPREPLY=()
  if [[ -z $befehl ]]; then
    mapfile -t COMPREPLY < <(compgen -W \
      'bericht pruefen reparieren zusammen abspielen arzt --help --version' -- "$wort")
    return
  fi
  case $vorher in
    --tempo)
      mapfile -t COMPREPLY < <(compgen -W '0 1 2 10' -- "$wort")
      return
      ;;
    --nach | --out)
      mapfile -t COMPREPLY < <(compgen -d -- "$wort")
      return
      ;;
  esac
  if [[ $wort == -* ]]; then
    local optionen='--help'
    case $befehl in
      zusammen) optionen+=' --nach --einzeln --ohne-video' ;;
      abspielen) optionen+=' --out --tempo' ;;
      arzt) optionen+=' --echo' ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$optionen" -- "$wort")
    return
  fi
  mapfile -t COMPREPLY < <(compgen -d -- "$wort")
}

complete -o filenames -F _hallkorb_sitzung hallkorb-sitzung
