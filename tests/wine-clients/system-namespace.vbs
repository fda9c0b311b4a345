' Any other namespace is Wine's own WMI.
Set wmi = CreateObject("WbemScripting.SWbemLocator").ConnectServer(".", "root\cimv2")
For Each system In wmi.ExecQuery("SELECT * FROM Win32_OperatingSystem")
  WScript.Echo "operating system: " & system.Caption
Next
