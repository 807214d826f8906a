"""The runs that are swept: what the machine is before, what is started, how it ends when nothing fails."""

from dataclasses import dataclass, field

from machine import Machine  # noqa: F401  sets the path of the scenarios' modules

from agents import STATELESS, TEMP, VERSION, install

OLD = "23.2.1.10"
TASK = r"Ostravel\OstravelInstaller"
AT_ONCE = (*STATELESS, "--pmu")
# Five minutes for logman are a second, which a busy machine may need.
SCALE = 300
# Seven processes less in each run; the first journey has them.
NO_LOG = {"fail": ["CreateProcessW:*:2:logman"]}


@dataclass
class Journey:
    arguments: tuple
    healthy: int  # the code when nothing fails
    agent: str | None = None  # installed before
    after: str | None = VERSION  # installed afterwards when nothing failed, the old one where it stays
    first: tuple = ()  # arguments of a run before, whose continuation waits
    at_boot: bool = False  # what is swept is the run that the task starts
    damage: tuple = ()  # a file of the continuation and what is left of it: nobody boots before somebody runs the program
    about: str = ""  # only calls with this in their arguments are swept
    script: dict = field(default_factory=lambda: NO_LOG)

    def prepare(self, machine):
        if self.agent:
            install(machine, self.agent)
        machine.put(TEMP + r"\SC-exit-code.txt", "12")
        if self.first:
            assert machine.run(*self.first, script=NO_LOG, time_scale=SCALE).code == 103
        if self.damage:
            name, content = self.damage
            machine.put(machine.tasks[TASK]["Path"].rpartition("\\")[0] + "\\" + name, content)

    def start(self, machine, server, script=None, **options):
        arguments = [server.token if one == "TOKEN" else one for one in self.arguments]
        script = {key: (self.script.get(key, []) + (script or {}).get(key, [])) for key in {*self.script, *(script or {})}}
        options = {"script": script, "time_scale": SCALE, "background": True} | options
        return machine.run_task(machine.tasks[TASK], **options) if self.at_boot else machine.run(*arguments, **options)


JOURNEYS = {
    "first": Journey(("-q", "-t", "TOKEN"), 0, script={}),
    "upgrade": Journey(STATELESS, 12, agent=OLD),
    "reinstall": Journey(("-q",), 103, agent=OLD, after=None),
    "boot": Journey((), 0, agent=OLD, first=("-q",), at_boot=True),
    "fallback": Journey(AT_ONCE, 0, agent=OLD),
    "clean_only": Journey(("-q", "--clean_only"), 0, agent=OLD, after=None),
    "diagnostics": Journey(("-q", "--diagnostics_only"), 0, agent=OLD, after=OLD),
    "waiting": Journey(("-q",), 104, agent=OLD, after=None, first=("-q",)),
    "cut_copy": Journey(("-q", "-t", "TOKEN"), 0, agent=OLD, first=("-q",), damage=("OstravelInstaller.exe", ""), about="QX_R_"),
    "cut_state": Journey(("-q", "-t", "TOKEN"), 0, agent=OLD, first=("-q",), damage=("Continuation.json", "{"), about="QX_R_"),
    "cut_state_at_boot": Journey((), 0, agent=OLD, first=("-q",), at_boot=True, damage=("Continuation.json", ""), about="QX_R_"),
}
