# fish completion for hallkorb-sitzung
set -l befehle bericht pruefen reparieren zusammen abspielen arzt
set -l ohne "not __fish_seen_subcommand_from $befehle"
complete -c hallkorb-sitzung -f
complete -c hallkorb-sitzung -s h -l help -d 'diese Hilfe'
complete -c hallkorb-sitzung -n $ohne -l version -d 'die Version'
complete -c hallkorb-sitzung -n $ohne -a bericht -d 'macht daraus die Seite sitzung.html'
complete -c hallkorb-sitzung -n $ohne -a pruefen -d 'prueft jede Datei gegen ihre Zeile und ihren Kopf'
complete -c hallkorb-sitzung -n $ohne -a reparieren -d 'setzt instand, was ein Abbruch hinterlassen hat'
complete -c hallkorb-sitzung -n $ohne -a zusammen -d 'fuegt Ton, Marken und Video zusammen'
complete -c hallkorb-sitzung -n $ohne -a abspielen -d 'spielt die Aufnahme einem Programm vor'
complete -c hallkorb-sitzung -n $ohne -a arzt -d 'untersucht, was auf diesem Rechner zum Aufnehmen fehlt'
complete -c hallkorb-sitzung -n "__fish_seen_subcommand_from $befehle" -a '(__fish_complete_directories)'
complete -c hallkorb-sitzung -n '__fish_seen_subcommand_from zusammen' -l nach -xa '(__fish_complete_directories)' -d 'Ordner fuer die Ergebnisse'
complete -c hallkorb-sitzung -n '__fish_seen_subcommand_from zusammen' -l einzeln -d 'eine Tondatei fuer jeden Kanal'
complete -c hallkorb-sitzung -n '__fish_seen_subcommand_from zusammen' -l ohne-video -d 'kein Video'
complete -c hallkorb-sitzung -n '__fish_seen_subcommand_from abspielen' -l out -xa '(__fish_complete_directories)' -d 'Ordner, in dem die Dateien erscheinen'
complete -c hallkorb-sitzung -n '__fish_seen_subcommand_from abspielen' -l tempo -xa '0 1 2 10' -d 'so vielmal so schnell wie aufgenommen'
complete -c hallkorb-sitzung -n '__fish_seen_subcommand_from arzt' -l echo -d 'einen leisen Pruefton spielen'
