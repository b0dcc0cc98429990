// The strict private-key-usage-period switch: whether an issuer's private
// key has to have been valid when the certificate it signed began to be.
#ifndef HALDEN_NIMBOLE_STRICT_PKUP_H
#define HALDEN_NIMBOLE_STRICT_PKUP_H

namespace halden::nimbole {

// The switch's state, 1 (off) or 2 (on). The first caller in the process
// reads \config\MarenCheck\StrictPkupCheck; a missing value means off, and
// a change of the value needs a restart.
int StrictPkupCheckState();

inline bool IsStrictPkupCheckOn() {
    return StrictPkupCheckState() == 2;
}

}  // namespace halden::nimbole

#endif
