# Checkpoints: take, rename, apply to a machine that is off, remove with the subtree.
--scenario {host} --save checkpoint db-01
--scenario {host} checkpoints db-01
--scenario {host} --save rename web-01 "After update" "Patched"
--scenario {host} --save stop web-01
--scenario {host} --save apply web-01 "Before update" --json
--scenario {host} --save remove web-01 "Before update" --subtree
--scenario {host} checkpoints web-01 --json
