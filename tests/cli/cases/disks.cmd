# Disks: IDE with a DVD, and 66 disks on two SCSI controllers.
--scenario {host} disks db-01 --json
--scenario {host} disks wide
--scenario {host} checkpoints web-01
--scenario {host} checkpoints web-01 --json
--scenario {host} disks web-01 --checkpoint "Before update"
