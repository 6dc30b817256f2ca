// Writes a report to the user's own folder of local data, where nobody else can plant a file first, and
// prints the name of Windows from it.
// Runs in a process of any width; the orrery.dll of that width lies beside the program.
using System;
using System.IO;
using System.Runtime.InteropServices;
using System.Text;

static class Program
{
    [DllImport("orrery.dll", CharSet = CharSet.Unicode, ExactSpelling = true)]
    [DefaultDllImportSearchPaths(DllImportSearchPath.AssemblyDirectory)]
    static extern int GetInventory(string path);

    static int Main()
    {
        string path = Path.Combine(
            Environment.GetFolderPath(Environment.SpecialFolder.LocalApplicationData), "inventory.tsv");
        File.Delete(path);  // so that an old report cannot pass for the new one
        if (GetInventory(path) != 1)
            return Fail("The run was cancelled.");
        if (!File.Exists(path))
            return Fail("No report was written.");

        foreach (string line in File.ReadLines(path, Encoding.Unicode))
        {
            string[] fields = line.Split('\t');
            if (fields.Length > 3 && fields[0] == "OperatingSystem" && fields[2] == "Caption")
            {
                Console.WriteLine(fields[3]);
                return 0;
            }
        }
        return Fail("The report does not name Windows.");
    }

    static int Fail(string message)
    {
        Console.Error.WriteLine(message);
        return 1;
    }
}
