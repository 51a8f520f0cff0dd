# fish completion for hallkorb
complete -c hallkorb -f
complete -c hallkorb -l out -xa '(__fish_complete_directories)' -d 'Ordner fuer alle Dateien'
complete -c hallkorb -l rate -xa 16000 -d 'Abtastrate aller Dateien'
complete -c hallkorb -l max -xa 4 -d 'Laenge, bei der auch ohne Pause geschnitten wird'
complete -c hallkorb -l legacy-chunks -d 'feste Laengen, statt an Pausen zu schneiden'
complete -c hallkorb -l chunk -xa 25 -d 'Laenge eines Chunks mit --legacy-chunks'
complete -c hallkorb -l video -d 'das Fenster der Besprechung aufnehmen'
complete -c hallkorb -l no-video -d 'kein Fenster aufnehmen'
complete -c hallkorb -l video-warten -xa 120 -d 'so lange darf ein Fenster fehlen, bevor es gemeldet wird'
complete -c hallkorb -l echo -d 'das Echo der Gegenseite aus dem Mikrofon nehmen'
complete -c hallkorb -l kein-echo -d 'das Echo im Mikrofon lassen'
complete -c hallkorb -l kein-roh-mikro -d 'das unbearbeitete Mikrofon nicht behalten'
complete -c hallkorb -l fenster-probe -d 'Fenster von Besprechungen zeigen und welches aufgenommen wuerde'
complete -c hallkorb -l alle -d 'mit --fenster-probe alle Fenster'
complete -c hallkorb -l fenster-wahl -rF -d 'aus einer Fensterliste (JSON) waehlen'
complete -c hallkorb -l echo-datei -rF -d 'ein aufgenommenes Mikrofon reinigen: Mikrofon, Gegenseite, Ergebnis'
# Its second and third value.
complete -c hallkorb -n 'contains -- --echo-datei (commandline -opc)[-3..-2]' -F
complete -c hallkorb -l chunk-ordner -xa '(__fish_complete_directories)' -d 'mit --echo-datei auch in Chunks schneiden'
complete -c hallkorb -l ohne-nachfilter -d 'mit --echo-datei ohne Nachfilter'
complete -c hallkorb -l zeitachse-test -d 'Selbsttest der Zeitachse'
