' The machines of the host and their states, as the Hyper-V scripting samples list them.
Set locator = CreateObject("WbemScripting.SWbemLocator")
Set wmi = locator.ConnectServer(".", "root\virtualization\v2")
Set machines = wmi.ExecQuery("SELECT * FROM Msvm_ComputerSystem WHERE Caption = 'Virtual Machine'")
WScript.Echo machines.Count & " machines"
For Each machine In machines
  WScript.Echo machine.ElementName & " " & machine.Name & " state " & machine.EnabledState
Next
Set host = wmi.ExecQuery("SELECT * FROM Msvm_ComputerSystem WHERE Caption = 'Hosting Computer System'")
For Each computer In host
  WScript.Echo "host " & computer.ElementName
Next
