# Hostile arguments: a checkpoint is one of the machine's own, named by its name or by its id.
--scenario {host} --save checkpoint db-01
--scenario {host} --save remove db-01 'x" OR ElementName = "Before update'
--scenario {host} --save rename db-01 0B331645-445B-4D27-BF6C-67E81909778A Stolen
--scenario {host} --save apply db-01 D16AA4B2-96EB-4D18-AB27-A171BE5B133C
--scenario {host} disks web-01 --checkpoint 'x" OR ElementName = "db-01 - (1/1/2026 - 12:00:00 AM)'
--scenario {host} --save remove web-01 'x\'
--scenario {host} checkpoints web-01
