# The machines of a host, one in a language other than English.
--scenario {host} machines
--scenario {host} machines --state running --json
--scenario {host} state Ünïcödé-Сервер
--scenario {host} switches --json
--scenario {host} host
