! Makes unformatted_records.bin and unformatted_subrecords.bin, sequential records as a Fortran run-time frames them:
!   gfortran unformatted_records.f90 -o records && ./records unformatted_records.bin
!   gfortran -fmax-subrecord-length=16 unformatted_records.f90 -o records && ./records unformatted_subrecords.bin
program unformatted_records
  implicit none
  character(80) :: name
  integer :: k
  call get_command_argument(1, name)
  open (10, file=name, form='unformatted', access='sequential', status='replace')
  write (10) 'BINARY  ', 3, 4, 1, 0
  write (10) 'BETA PAR', [(0.5d0*k, k=1, 3)]
  write (10)
  write (10) 'ROW    1', 1d0
  write (10) 'a tail'
  close (10)
end program
