# Defining and editing from JSON descriptions.
--scenario {host} --save define {cases}/app.json
--scenario {host} info app-01 --json
--scenario {host} --save edit app-01 {cases}/bigger.json
--scenario {host} disks app-01
--scenario {host} define {cases}/bad.json
