"""What holds after every run, whatever failed in it. Each is a function of what happened that says what is wrong, or nothing."""

import re
from pathlib import Path

from agents import AGENT_UID, BASE, PROPERTIES_KEY, TEMP, VERSION, config, left
from journeys import OLD, TASK

RESULTS = Path(__file__).resolve().parent.parent.parent / "docs" / "results.md"
DOCUMENTED = {int(code) for row in re.findall(r"^\| ([\d, ]+) \|", RESULTS.read_text(), re.MULTILINE) for code in row.split(",")}
# The agent is gone and nothing is scheduled: these say so, or that the installation failed.
GONE = {0, 200, 2000, 2002, 1003, 1004, 2015, 2022}
# Nothing of the run is known yet, or everything has been told.
UNTOLD = {206, 1002, 2016, 2017}


class After:
    """What happened and what is there."""

    def __init__(self, machine, journey, run, killed=False):
        self.machine, self.journey, self.run, self.code = machine, journey, run, run.code
        self.killed = killed  # an earlier run was
        self.tasks, self.product = machine.tasks, machine.products.get("Kelvane Agent")

    def lies(self, start):
        return [place.name for place in left(self.machine, start)]

    def text(self, path):
        place = self.machine.unix(path)
        return place.read_text() if place.exists() else None

    @property
    def copies(self):
        return self.lies("QX_R_")

    @property
    def cleaned(self):
        """A killed run has done what was asked for: there is nothing left to clean, nor an agent that has a token."""
        return self.killed and "--clean_only" in self.journey.arguments and not self.product

    @property
    def scheduled(self):
        return TASK in self.tasks and self.machine.unix(self.tasks[TASK]["Path"]).exists()

    @property
    def whole_version(self):
        """The version of an agent that is there with its files and properties, or none."""
        if not self.product:
            return None
        folder = self.machine.unix(config(self.product)).parent
        files = all((folder / name).exists() for name in ("KelvaneAgent.exe", "config/UserConfig.json", "config/AgentUid.json"))
        return self.product if files and self.machine.reg_values(PROPERTIES_KEY) else None


def the_code_is_documented(after):
    if after.code not in DOCUMENTED:
        return f"code {after.code}"


def the_result_file_agrees(after):
    name = "SC-after-reboot-exit-code.txt" if after.journey.at_boot else "SC-exit-code.txt"
    told = after.text(rf"{TEMP}\{name}")
    # Before the command line is known the file is nobody's: an earlier run's result may stay.
    begun = "OstravelInstallerExitCode" in after.run.event_names
    if told not in (None, str(after.code)) and (begun or told not in ("12", "103")):
        return f"{name} says {told}, the code is {after.code}"


def success_is_true(after):
    journey = after.journey
    if after.code == journey.healthy and after.code < 100 and after.whole_version != journey.after:
        return f"code {after.code} with agent {after.whole_version}"
    if after.code in (103, 104) and not after.scheduled:
        return f"code {after.code} without a task"


def an_agent_is_there_or_comes(after):
    had = after.journey.agent and not after.journey.first
    if after.code == after.journey.healthy or not had and not after.journey.at_boot:
        return None
    if after.whole_version in (OLD, VERSION) or after.scheduled or after.cleaned:
        return None
    if after.code not in GONE:
        return f"no agent, no task, code {after.code}"
    if after.product:
        return f"half an agent, code {after.code}"


def nothing_is_left(after):
    # A killed run's folder goes with the next ordinary run that finds no task.
    waits = after.killed and (after.scheduled or after.journey.at_boot)
    leftovers = [] if waits else after.lies("Run_") + after.lies("temp")
    # A copy that runs cannot go; the next ordinary run removes it.
    copies_that_may_be = 1 if after.scheduled or after.journey.at_boot else 0
    leftovers += after.copies[copies_that_may_be:] + ([] if after.scheduled else list(after.tasks))
    leftovers += [place.name for place in after.machine.unix(r"C:\test-host\sessions").iterdir()]
    if after.machine.unix(TEMP + r"\KelvaneConfig").exists() and after.code < 100:
        leftovers.append("KelvaneConfig")
    if leftovers:
        return "left: " + ", ".join(leftovers)


def protection_stays(after):
    loose = [record["path"] for record in after.run.of_kind("created") + after.run.of_kind("secured")
             if BASE in record["path"] and not record["security"].startswith("O:BAD:P(A;")]
    if loose:
        return f"not protected: {loose}"


def a_failure_is_named(after):
    begun = "Hello From OstravelInstaller!" in after.run.event_names
    if after.code == after.journey.healthy or after.code in UNTOLD or not begun:
        return None
    if not after.run.errors and not after.run.printed.strip():
        return "nothing says why"


def the_identity_stays(after):
    """An upgraded agent keeps its identifier, unless what knew it was damaged."""
    if after.journey.damage or not (after.journey.agent and after.whole_version == VERSION and after.code in (0, 12)):
        return None
    if after.machine.reg_value(PROPERTIES_KEY, "AGENT_UID") not in (AGENT_UID, ""):
        return "another identifier"


INVARIANTS = (the_code_is_documented, the_result_file_agrees, success_is_true, an_agent_is_there_or_comes, nothing_is_left,
              protection_stays, a_failure_is_named, the_identity_stays)


def it_went_on(after):
    """A run after a killed one ends as on a healthy machine; or says that the agent is there already, or that it has no
    token: the next boot has it, or the agent had it that is cleaned away."""
    allowed = {after.journey.healthy, 0, 12, 103, 104, 1000} | ({2002} if after.whole_version else set())
    if after.killed and after.code not in allowed | ({2008} if after.scheduled or after.cleaned else set()):
        return f"code {after.code}"


def violations(machine, journey, run, killed=False):
    after = After(machine, journey, run, killed)
    return [f"{check.__name__}: {wrong}" for check in (*INVARIANTS, it_went_on) if (wrong := check(after))]
