#!/usr/bin/env python3
"""service_test.py PACKAGES SOURCE WORK CACHE: boots a bare Debian 12 in which the simulator's package is installed and its unit enabled, and uses the service from inside."""

import glob
import os
import shutil
import subprocess
import sys

from bare_debian import Impossible, System, tried

packages, source, work, cache = sys.argv[1:]
SETTINGS = "/etc/velmore-ews-simulator.json"
ENDED_WELL = "the service is in order"
UNIT = """[Unit]
After=velmore-ews-simulator.service
[Service]
Type=oneshot
Environment=VELMORE_MAIL_URL=http://127.0.0.1:8080/EWS/Exchange.asmx VELMORE_MAIL_USER=alice VELMORE_MAIL_PASSWORD=wonder
ExecStart=/bin/sh -ex /opt/trial
ExecStopPost=systemctl --no-block --force poweroff
StandardOutput=append:/opt/trial.log
StandardError=inherit
[Install]
WantedBy=multi-user.target
"""
TRIAL = f"""
serves() {{ for each in $(seq 100); do ! velmore-mail check || return 0; sleep 0.2; done; return 1; }}
shown() {{ systemctl show --value --property "$1" velmore-ews-simulator; }}
serves
[ "$(ps -o user= -p "$(shown MainPID)")" != root ]
velmore-mail send --to alice@example.com --subject 'Over a restart' --text 'It works.'
systemctl restart velmore-ews-simulator
serves
velmore-mail list | grep 'Over a restart'
VELMORE_MAIL_URL=https://localhost:8443/EWS/Exchange.asmx VELMORE_MAIL_CA_FILE=/run/velmore-ews-simulator/ca.pem velmore-mail check
[ "$(stat -c %a /var/lib/velmore-ews-simulator/state)" = 600 ]
systemctl stop velmore-ews-simulator
[ "$(shown Result) $(shown ExecMainStatus)" = 'success 0' ]
mv {SETTINGS} /opt/settings
systemctl start velmore-ews-simulator
[ "$(shown ConditionResult)" = no ]
echo '{{ "users": 7 }}' > {SETTINGS}
! systemctl start velmore-ews-simulator
echo '{ENDED_WELL}'
"""


def trial():
    if not shutil.which("systemd-nspawn"):
        raise Impossible("systemd-nspawn is not installed")
    with System(cache, work) as system:
        for deb in glob.glob(packages + "/*.deb"):
            shutil.copy(deb, system.root + "/opt")
        system.apt_update()
        system.apt("install", "--no-install-recommends", "systemd", "dbus", "man-db", "procps",
                   *("/opt/" + os.path.basename(deb) for deb in glob.glob(packages + "/velmore-*.deb") + glob.glob(packages + "/libvelmore-ews[0-9]*.deb")))
        told = system.run("systemd-analyze", "verify", "velmore-ews-simulator.service")
        assert not told, told
        for page in ("velmore-ews-simulator", "velmore-mail"):
            assert "SYNOPSIS" in system.run("man", page)

        shutil.copy(source + "/simulator/samples/users.json", system.root + SETTINGS)
        os.chmod(system.root + SETTINGS, 0o600)  # it has passwords; the service gets it as a credential
        for path, text in {"/etc/systemd/system/trial.service": UNIT, "/opt/trial": TRIAL}.items():
            with open(system.root + path, "w", encoding="utf-8") as file:
                file.write(text)
        system.run("systemctl", "enable", "velmore-ews-simulator", "trial")
        booted = subprocess.run(["timeout", "-k", "5", "300", "systemd-nspawn", "--directory", system.root, "--boot", "--private-network", "--register=no", "--keep-unit",
                                 "--console=pipe"], text=True, check=False, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        log = system.root + "/opt/trial.log"
        if not os.path.exists(log):
            raise Impossible("nothing boots here: " + booted.stdout[-1000:])
        with open(log, encoding="utf-8") as file:
            told = file.read()
        assert ENDED_WELL in told.splitlines(), told
    print("The service starts at boot, serves, keeps its mailboxes, and says what is wrong with its settings.")


tried(trial)
