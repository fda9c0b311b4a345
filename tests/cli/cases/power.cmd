# Power and deletion, written back to the scenario; a refusal of the host is a library failure.
--scenario {host} --save start db-01
--scenario {host} apply web-01 "Before update"
--scenario {host} --save save web-01 --json
--scenario {host} stop Ünïcödé-Сервер --save
--scenario {host} machines
--scenario {host} --save delete wide
--scenario {host} machines --json
