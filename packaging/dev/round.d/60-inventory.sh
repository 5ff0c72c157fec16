# Sound and hardware. The volume of a real machine is left alone.
if [ ${#host[@]} -gt 0 ]; then
    step "Quieter" kyctl audio set 40
    step "How loud is it?" kyctl audio get
    expect "volume  40 %" "PCH"
    fails 1 "Louder than loud" kyctl audio set 101
    expect "40002" "argument [volume]: not a whole number from 0 to 100"
    step "Another card" kyctl audio card 1
    step "The built-in card again" kyctl audio reset
fi

step "What is it made of?" kyctl info
expect "processor" "DISK" "CARD"
