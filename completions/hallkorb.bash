# bash completion for hallkorb                                              -*- shell-script -*-

_hallkorb() {
  local wort=${COMP_WORDS[COMP_CWORD]} art='' fehlen=0 i
  COMPREPLY=()
  # A value may look like an option, so the words are walked as the program does.
  for ((i = 1; i < COMP_CWORD; i++)); do
    if ((fehlen > 0)); then
      fehlen=$((fehlen - 1))
      continue
    fi
    case ${COMP_WORDS[i]} in
      --out | --chunk-ordner) art=ordner fehlen=1 ;;
      --fenster-wahl) art=datei fehlen=1 ;;
      --echo-datei) art=datei fehlen=3 ;;
      --chunk | --rate | --max | --video-warten) art=zahl fehlen=1 ;;
    esac
  done
  if ((fehlen > 0)); then
    case $art in
      ordner) mapfile -t COMPREPLY < <(compgen -d -- "$wort") ;;
      datei) mapfile -t COMPREPLY < <(compgen -f -- "$wort") ;;
    esac
    return
  fi
  mapfile -t COMPREPLY < <(compgen -W '--out --rate --max --legacy-chunks --chunk --video --no-video
    --video-warten --echo --kein-echo --kein-roh-mikro --fenster-probe --alle --fenster-wahl --echo-datei
    --chunk-ordner --ohne-nachfilter --zeitachse-test' -- "$wort")
}

complete -o filenames -F _hallkorb hallkorb
