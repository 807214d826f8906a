"""How an installed agent is found: the sources in their order, and what they may hold instead."""

from harness import BUILD

AGENT = r"HKLM\SOFTWARE\Ostravel\Agent"
SERVICE = r"HKLM\SYSTEM\CurrentControlSet\Services\KelvaneAgent"
TYPE_LIBS = [rf"HKLM\SOFTWARE\Classes\TypeLib\{{{guid}}}\1.0\0\win64" for guid in
             ("667D5A92-7C14-4687-B20E-A5CF06FEF1AF", "BED0DAEE-A8DC-40E6-AAD6-DCA5532B746C")]
RELATED = r"HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Installer\UpgradeCodes\06BA9B59DEB374C4FA0C5E78A65715A2"
USERS_OWN = "0123456789ABCDEF0123456789ABCDEF"  # a product, in the form of the installer's own keys
PRODUCT = "C:\\Program Files\\Ostravel\\"
NOT_FOUND = ("InstalledAgentVersionNotFound", {})


def discover(endpoint, **script):
    """A run that ends right after discovery, and the event that says what was found."""
    run = endpoint.run("-q", "-r", "3", script=script)
    (found,) = [event for event in run.events if event["event"].startswith("InstalledAgentVersion")]
    return run, (found["event"].removeprefix("InstalledAgentVersionFoundFrom"), found["fields"])


def agent_folder(endpoint, name, config=None):
    folder = PRODUCT + name
    endpoint.put(folder + r"\Kelvane.tlb", "")
    if config:
        endpoint.put(rf"{folder}\config\{config}", "{}")
    return folder


def test_sources_in_order(endpoint):
    """Each source is set beside the weaker ones, and hides them."""
    def expect(source, version, **config):
        assert discover(endpoint)[1] == (source, {"InstalledVersion": version} | config)

    endpoint.install_agent("4.5.1.1")
    endpoint.wine("net", "stop", "KelvaneAgent")
    endpoint.wine("sc", "delete", "KelvaneAgent")
    endpoint.reg_delete(AGENT)
    endpoint.unix(PRODUCT + "Kelvane Agent 4.5.1.1").rename(endpoint.unix(r"C:\elsewhere"))
    expect("MsiApi", "4.5.1.1")
    endpoint.reg_set(RELATED, **{USERS_OWN: ""})
    endpoint.reg_set(rf"HKCU\Software\Microsoft\Installer\Products\{USERS_OWN}", ProductName="mine", Version=0x09000000)
    expect("MsiApi", "4.5.1.1")
    for name in "Kelvane Agent 5.0.0.9", "Kelvane Agent 5.0.0.65536", "5.0.0.10":
        agent_folder(endpoint, name, "UserConfig.json" if name.endswith(".9") else None)
    expect("Leftovers", "5.0.0.10", ConfigPath="")
    folder = agent_folder(endpoint, "Kelvane Agent 7.0.0.1", "AgentUid.json")
    endpoint.reg_set(SERVICE, ImagePath=rf'"{folder}\Kelvane.tlb" -service', Type=16, Start=3)
    expect("SeviceRegistry", "7.0.0.1", ConfigPath=folder + r"\config")
    folder = agent_folder(endpoint, "8.0.0.1", "LocalConfig.json")
    endpoint.reg_set(TYPE_LIBS[0].replace("HKLM", "HKCU"), **{"": folder + r"\Kelvane.tlb"})  # any user may say so
    endpoint.reg_set(TYPE_LIBS[1], **{"": r"C:\Ostravel\8.0.0.2\Kelvane.tlb"})  # where any user may have put it
    expect("SeviceRegistry", "7.0.0.1", ConfigPath=PRODUCT + r"Kelvane Agent 7.0.0.1\config")
    endpoint.reg_set(TYPE_LIBS[1], **{"": folder + r"\Kelvane.tlb"})
    expect("TypeLib", "8.0.0.1", ConfigPath=folder + r"\config")
    endpoint.reg_set(TYPE_LIBS[0], **{"": PRODUCT + r"8.0.0.2\Kelvane.tlb"})
    expect("TypeLib", "8.0.0.2", ConfigPath="")
    folder = agent_folder(endpoint, "9.0.0.1", "UserConfig.json")
    endpoint.reg_set(AGENT, ConfigBaseDir=folder + r"\config", InProcessClientsDir=folder)
    expect("ConfigBaseDir", "9.0.0.1", ConfigPath=folder + r"\config")
    endpoint.put(folder + r"\KelvaneAgent.exe", BUILD / "sample/23.2.1.10/KelvaneAgent.exe")
    expect("ExeFile", "23.2.1.10", ConfigPath=folder + r"\config")


def test_unusable_sources(endpoint):
    """Nothing there, values of a wrong type or form, failing calls: logged and passed over."""
    for script in {"fail": "MsiEnumRelatedProductsW:*:1610"}, {"fail": "RegOpenKeyExW:*:5"}, {"missing": "msi.dll"}, \
            {"missing": "MsiEnumRelatedProductsW"}:
        assert discover(endpoint, **script)[1] == NOT_FOUND
    unterminated = (1, "C:\\Ostravel\\1.2.3.4".encode("utf-16-le") + b"x")
    endpoint.reg_set(AGENT, InProcessClientsDir=7, ConfigBaseDir=unterminated)
    endpoint.reg_set(TYPE_LIBS[0], **{"": 7})
    endpoint.reg_set(SERVICE, ImagePath=b"\1\2\3", Type=16)
    assert discover(endpoint)[1] == ("ConfigBaseDir", {"InstalledVersion": "1.2.3.4", "ConfigPath": ""})
    endpoint.reg_set(AGENT, InProcessClientsDir="C:\\Nowhere", ConfigBaseDir=7)
    run, found = discover(endpoint)
    assert found == NOT_FOUND and "ConfigBaseDir" in str(run.events_named("FailedGettingAgentConfigDirFromRegistry"))
    failures = [failure["TypeLibGuid"] for failure in run.events_named("FailedDeterminingAgentPathByTypeLib")]
    assert len(failures) == 2 and failures[0] in TYPE_LIBS[0] and failures[1] in TYPE_LIBS[1]
    (failure,) = run.events_named("FailedDeterminingAgentPathByServiceRegistry")
    assert failure["RegistryPath"].endswith(r"\Services\KelvaneAgent") and "ImagePath" in failure["ErrorMsg"]
    endpoint.reg_set(SERVICE, ImagePath=r"C:\Ostravel\99999.1.1.1\KelvaneAgent.exe")
    endpoint.reg_set(AGENT, ConfigBaseDir=r"C:\Ostravel\1.2.3")
    assert discover(endpoint)[1] == NOT_FOUND


def test_service_alone_makes_an_agent_present(endpoint):
    endpoint.wine("sc", "create", "KelvaneAgent", "binPath=", r"C:\Setup\nothing.exe")
    run = endpoint.run("-q")
    assert (run.code, run.printed) == (2008, "Site token is missing. Terminating.\n")
    assert "InstalledAgentVersionNotFound" in run.event_names
