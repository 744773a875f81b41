# Completion of qvcms for fish.

set -l commands pair update plan status remove list configuring messages migrate token
set -l kinds server camera edge-storage iomodule pos speaker controller door iva-task face-task counting-widget counting-group camera-detection-setting camera-device-output iomodule-setting iomodule-cam-pairing pos-event-conf pos-text-rule counting-group-widget ctrler-action-rule rec-share capability message

complete -c qvcms -f
complete -c qvcms -n "not __fish_seen_subcommand_from $commands" -a "$commands"
complete -c qvcms -n '__fish_seen_subcommand_from pair update plan status' -F
complete -c qvcms -n '__fish_seen_subcommand_from list' -a "$kinds"
complete -c qvcms -n '__fish_seen_subcommand_from configuring' -a 'camera iomodule on off'

complete -c qvcms -n '__fish_seen_subcommand_from token' -a 'make list revoke'
complete -c qvcms -n '__fish_seen_subcommand_from token' -l scope -x -a 'read operate metrics slave:' -d 'What its bearer may do'
complete -c qvcms -n '__fish_seen_subcommand_from token' -l note -x -d 'What it is for'

complete -c qvcms -n '__fish_seen_subcommand_from migrate' -l from -xa '(__fish_complete_directories)' -d 'Data folder of the host that is copied'
complete -c qvcms -n '__fish_seen_subcommand_from migrate' -l from-database -x -d 'Its PostgreSQL database'

complete -c qvcms -l database -x -d 'PostgreSQL database of the host'
complete -c qvcms -l data-dir -xa '(__fish_complete_directories)' -d 'Folder with the data'
complete -c qvcms -l log-level -xa '0 1 2 3 4 5 6 7' -d 'Least severe level that is logged'
complete -c qvcms -l log-file -rF -d 'Append the log to this file too'
complete -c qvcms -l log-max-size -x -d 'Rotate the log file before it is larger'
complete -c qvcms -l log-files -x -d 'Rotated log files that are kept'
complete -c qvcms -s o -l output -xa 'table json' -d 'What to print'
complete -c qvcms -l max-depth -x -d 'Deepest nesting of a document'
complete -c qvcms -l max-size -x -d 'Largest document'
complete -c qvcms -l max-values -x -d 'Most values in a document'
complete -c qvcms -l synchronous -xa 'full normal' -d 'What survives a power cut'
complete -c qvcms -l color -xa 'auto always never' -d 'Colours in the counts'
complete -c qvcms -s h -l help -d 'Print help'
complete -c qvcms -l version -d 'Print the version'
complete -c qvcms -n '__fish_seen_subcommand_from pair update plan' -l model -x -d 'Model of the slave'
complete -c qvcms -n '__fish_seen_subcommand_from update' -l allow-removals -d 'However much it removes'
complete -c qvcms -n '__fish_seen_subcommand_from plan' -l exit-code -d '2 when there are changes'
complete -c qvcms -n '__fish_seen_subcommand_from messages' -l target -x -d 'Only to this service'
complete -c qvcms -n '__fish_seen_subcommand_from messages' -l follow -d 'Go on with those to come'
complete -c qvcms -n '__fish_seen_subcommand_from messages' -l ack -d 'Delete what was written'
complete -c qvcms -n '__fish_seen_subcommand_from messages' -l set-aside -d 'Those that were refused'
complete -c qvcms -n '__fish_seen_subcommand_from messages' -l retry -d 'Have them delivered again'
complete -c qvcms -n '__fish_seen_subcommand_from list messages' -l zr -x -d 'Only of this slave'
complete -c qvcms -n '__fish_seen_subcommand_from list' -l wide -d 'Every column, whole'
complete -c qvcms -n '__fish_seen_subcommand_from list' -l extra-values -d 'Unknown members with their values'
