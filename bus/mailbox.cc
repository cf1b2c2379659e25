#include "bus/mailbox.h"

#include "bus/bus_names.h"

namespace quotlink {

int AppendFeederReady(sd_bus_message* m, const Mailbox& b, uint64_t sequence) {
  // Varargs: floats and int16 values go as the double and int that the signature's reader
  // takes them as.
  return sd_bus_message_append(m, kFeederReadySignature, b.Simbolo.c_str(), double{b.Last},
                               double{b.Bid}, double{b.Ask}, double{b.LastS}, double{b.Change},
                               double{b.BidS}, double{b.AskS}, double{b.OpenV}, double{b.High},
                               double{b.Low}, double{b.Previous}, double{b.OInt}, double{b.Vol},
                               double{b.TimeV}, int{b.ComunicationOK}, int{b.Flag}, sequence);
}

int ReadFeederReady(sd_bus_message* m, Mailbox* b, uint64_t* sequence) {
  const char* simbolo = nullptr;
  double d[14] = {};
  int16_t ok = 0, flag = 0;
  const int r = sd_bus_message_read(m, kFeederReadySignature, &simbolo, &d[0], &d[1], &d[2], &d[3],
                                    &d[4], &d[5], &d[6], &d[7], &d[8], &d[9], &d[10], &d[11],
                                    &d[12], &d[13], &ok, &flag, sequence);
  if (r < 0) return r;
  b->Simbolo.assign(simbolo != nullptr ? simbolo : "");
  float* const fields[] = {&b->Last,     &b->Bid,  &b->Ask,   &b->LastS, &b->Change,
                           &b->BidS,     &b->AskS, &b->OpenV, &b->High,  &b->Low,
                           &b->Previous, &b->OInt, &b->Vol,   &b->TimeV};
  for (int i = 0; i < 14; ++i)
    *fields[i] = static_cast<float>(d[i]);
  b->ComunicationOK = ok;
  b->Flag = flag;
  return r;
}

}  // namespace quotlink
