# Writes a report to the user's own folder of local data, where nobody else can plant a file first, and
# prints the name of Windows from it.
# For Windows PowerShell 5.1 or PowerShell 7; the orrery.dll of its width lies beside this script.
$ErrorActionPreference = 'Stop'
$dll = Join-Path $PSScriptRoot 'orrery.dll'
Add-Type -Namespace Orrery -Name Library -MemberDefinition @"
[DllImport(@"$dll", CharSet = CharSet.Unicode, ExactSpelling = true)]
public static extern int GetInventory(string path);
"@

$path = Join-Path ([Environment]::GetFolderPath('LocalApplicationData')) 'inventory.tsv'
# So that an old report cannot pass for the new one.
if (Test-Path -LiteralPath $path) { Remove-Item -LiteralPath $path }
if ([Orrery.Library]::GetInventory($path) -ne 1) { throw 'The run was cancelled.' }
if (-not (Test-Path -LiteralPath $path)) { throw 'No report was written.' }

Get-Content -LiteralPath $path -Encoding Unicode |
    Where-Object { $_.StartsWith("OperatingSystem`t0`tCaption`t") } |
    ForEach-Object { $_.Split("`t")[3] }
